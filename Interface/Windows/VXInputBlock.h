#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QObject>

/**
 * During its lifetime no widget gets keys, clicks, drops or requests to close: for work that has begun and has no
 * window of its own yet. Main thread only.
 */
class VX_INTERFACE_EXPORT VXInputBlock : public QObject
{
    Q_OBJECT

public:
    VXInputBlock();
    ~VXInputBlock() override;

protected:
    bool eventFilter(QObject *object, QEvent *event) override;
};
