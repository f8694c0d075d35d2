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
    explicit VXWidgetsProgressWindow(QWidget *parent);
    ~VXWidgetsProgressWindow() override;

    /** Milliseconds before the window opens; half a second by default. Also for tests. */
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
    std::unique_ptr<VXInputBlock> _block; // until the window is open
    QPointer<VXProgressDialog> _dialog;
};
