#pragma once

#include "VXInterfaceExport.h"
#include "VXProgressWindow.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <memory>
#include <optional>

class QWidget;
class VXInputBlock;
class VXProgressDialog;

/** Progress in a window that opens after half a second; nothing is shown for work that ends before. */
class VX_INTERFACE_EXPORT VXWidgetsProgressWindow : public VXProgressWindow
{
public:
    /** `delay`: milliseconds before the window opens. */
    explicit VXWidgetsProgressWindow(QWidget *parent, int delay = 500);
    ~VXWidgetsProgressWindow() override;

protected:
    void show() override;
    void update() override;
    void close(Result result) override;

private:
    void open();

    const QPointer<QWidget> _parent;
    const int _delay;
    QTimer _wait;
    QElapsedTimer _since;
    std::unique_ptr<VXInputBlock> _block; // until the window is open
    QPointer<VXProgressDialog> _dialog;
};
