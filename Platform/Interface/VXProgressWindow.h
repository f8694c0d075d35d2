#pragma once

#include "VXModalSession.h"
#include "VXPlatformExport.h"

#include <QtCore/QString>

#include <functional>

/**
 * A modal window that shows the progress of some work. The work is started before `runModal` (by a timer or on another
 * thread), reports through the setters and closes the window with `ok` or `cancel`. Main thread only: other threads use
 * VXMainThread, which the modal session serves.
 */
class VX_PLATFORM_EXPORT VXProgressWindow
{
public:
    enum class Result { Cancelled, Ok };

    virtual ~VXProgressWindow();
    VXProgressWindow(const VXProgressWindow &) = delete;
    VXProgressWindow &operator=(const VXProgressWindow &) = delete;

    QString title() const { return _title; }
    void setTitle(const QString &title);
    /** The line that says what is being done now. */
    QString message() const { return _message; }
    void setMessage(const QString &message);

    /** Progress so far, and the value at which the work is complete (initially 0 of 100). */
    double doubleValue() const { return _doubleValue; }
    void setDoubleValue(double value);
    double maxValue() const { return _maxValue; }
    void setMaxValue(double value);
    /** True while the duration is unknown. */
    bool isIndeterminate() const { return _isIndeterminate; }
    void setIndeterminate(bool flag);

    /** Shows the window until `ok` or `cancel`. A quitting application counts as cancelled. */
    Result runModal();
    bool isRunning() const { return _session.isRunning(); }
    void ok();
    void cancel();

    /** Called instead of `cancel` when the user asks to cancel; it then decides when the window closes. */
    void setCancelHandler(std::function<void()> handler) { _cancelHandler = std::move(handler); }

protected:
    VXProgressWindow();

    /** The visible window; `update` is called after each change while it is shown. */
    virtual void show() = 0;
    virtual void update() = 0;
    virtual void close(Result result) = 0;

    /** Implementations call this when the user asks to cancel. */
    void userDidCancel();

private:
    template <class T>
    void change(T &field, const T &value);

    QString _title;
    QString _message;
    double _doubleValue = 0;
    double _maxValue = 100;
    bool _isIndeterminate = false;
    std::function<void()> _cancelHandler;
    VXModalSession _session;
};
