#include "VXProgressWindow.h"

VXProgressWindow::VXProgressWindow() = default;

VXProgressWindow::~VXProgressWindow() = default;

template <class T>
void VXProgressWindow::change(T &field, const T &value)
{
    field = value;
    if (isRunning())
        update();
}

void VXProgressWindow::setTitle(const QString &title)
{
    change(_title, title);
}

void VXProgressWindow::setMessage(const QString &message)
{
    change(_message, message);
}

void VXProgressWindow::setDoubleValue(double value)
{
    change(_doubleValue, value);
}

void VXProgressWindow::setMaxValue(double value)
{
    change(_maxValue, value);
}

void VXProgressWindow::setIndeterminate(bool flag)
{
    change(_isIndeterminate, flag);
}

VXProgressWindow::Result VXProgressWindow::runModal()
{
    show();
    const Result result = _session.run() == static_cast<int>(Result::Ok) ? Result::Ok : Result::Cancelled;
    close(result);
    return result;
}

void VXProgressWindow::ok()
{
    _session.stop(static_cast<int>(Result::Ok));
}

void VXProgressWindow::cancel()
{
    _session.stop(static_cast<int>(Result::Cancelled));
}

void VXProgressWindow::userDidCancel()
{
    if (_cancelHandler)
        _cancelHandler();
    else
        cancel();
}
