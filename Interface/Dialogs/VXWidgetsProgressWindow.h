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

/** Progress in a window that opens when the work has taken half a second; what ends before shows nothing. */
class VX_INTERFACE_EXPORT VXWidgetsProgressWindow : public VXProgressWindow
{
public:
    explicit VXWidgetsProgressWindow(QWidget *parent);
    ~VXWidgetsProgressWindow() override;

    /** Milliseconds before the window opens; half a second unless set. For tests too. */
    void setDelay(int milliseconds) { _delay = milliseconds; }

protected:
    void show() override;
    void update() override;
    void close(Result result) override;

private:
    void open();

    const QPointer<QWidget> _parent;
    int _delay = 500;
    QTimer _wait;
    QElapsedTimer _since;
    std::unique_ptr<VXInputBlock> _block; // until the window is there
    QPointer<VXProgressDialog> _dialog;
};
