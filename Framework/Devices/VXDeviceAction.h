#pragma once

#include "VXActivity.h"
#include "VXDevicePlugin.h"
#include "VXError.h"
#include "VXErrorDomain.h"
#include "VXFrameworkExport.h"
#include "VXMutex.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

struct VXThrown;

/**
 * One named request to a device, as to send a message. The caller makes it, may attach the object it concerns, and
 * executes it; the device's active handler for the name carries it out, at once or much later, reports at most one
 * error that counts, and ends with `conclude`, which calls the caller back on the main thread. Meanwhile it shows as an
 * activity, and tells by signals how it goes. Always held by a shared pointer, never by a parent; an executing action
 * also holds itself, so a handler may keep the plain pointer until it concludes. Any thread may call; signals are
 * emitted on the calling thread, and what a slot throws is logged and goes no further.
 */
class VX_EXPORT VXDeviceAction : public QObject, public std::enable_shared_from_this<VXDeviceAction>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXDeviceAction>;
    using Completion = std::function<void(VXDeviceAction *action)>;

    /** A null name fails an assertion. */
    static Ptr actionWithName(const QString &theActionName);
    /** For subclasses, which std::make_shared makes. */
    explicit VXDeviceAction(const QString &theActionName);
    ~VXDeviceAction() override;

    // -- What it is
    QString actionName() const { return _actionName; }
    /** The device it runs on, from the first execution on; null before. */
    VXDevicePlugin::Ptr device() const;
    /** True from `executeWithDevice` until `conclude`. */
    bool isExecuting() const { return _isExecuting; }

    /** What the action concerns, as a record, a message, a text; invalid for nothing. */
    QVariant object() const;
    /** Keeps the object, and with it what it answers for the key "managedObjectContext", as far as a QVariant can keep
     *  things: values and shared pointers live on; behind a plain pointer, its owner must hold object and context. */
    void setObject(const QVariant &object);

    /** What the handler answers: a property-list value where it can be; invalid for nothing. Setting it is up to the
     *  handler, before it concludes; the next execution clears it. */
    QVariant result() const;
    void setResult(const QVariant &result);

    // -- What a reading finds, in portions: for who wants no list of all of it in memory
    /** Makes a portion, a map as `result` is with some of its "items". Called once, on any thread. */
    using Portion = std::function<QVariantMap()>;
    /** Has a portion taken. `next`, where there is one, is to be called on the main thread once more may come. */
    using Taker = std::function<void(const Portion &portion, const std::function<void()> &next)>;
    /** Before it is executed, for that time. A handler that knows no portions has all in its result nevertheless. */
    void setTaker(const Taker &taker);
    /** For the handler, on the main thread: what was taken does not belong into the result. False when nobody takes
     * portions, or not any more: nothing was done with it. */
    bool handOver(const Portion &portion, const std::function<void()> &next = {});

    /** Class, address, action name, and the error or "no error": for logs. */
    QString description() const;

    // -- Progress, for the handler: shown by the activity, which the first setTitle makes; no effect before
    void setTitle(const QString &title);
    void setStatusText(const QString &text);
    double progressValue() const;
    void setProgressValue(double value);
    void setProgressMaxValue(double value);
    void incrementProgress();
    /** Null while none is shown. */
    VXActivity::Ptr activity() const;

    // -- Errors
    /** The first one reported in the action's life, with its name and device's URL added; null while none was. */
    VXError error() const;
    /** Reports a failure. No error is ignored; an error after the first is logged and dropped. */
    void setError(const VXError &error);
    /** Reports a failure that is known by its text alone (VXErrorTextOnly). */
    void setErrorString(const QString &text);
    /** Reports what a part of the work threw, as `executeWithDevice` does for its handler. */
    void setErrorThrown(const VXThrown &thrown);
    /** True when the error that counts is the abort: what a handler looks for while it works, unless it listens to
     *  cancelRequested. */
    bool isCancelled() const { return error().code() == VXErrorCancelled && error().domain() == VXErrorDomain; }

    // -- Running
    /**
     * Executes on the device, and then calls `completion` on the main thread. The handler runs now, on this thread.
     * An exception that it throws becomes the error and concludes the action; so does a value of another type, which
     * then comes through. A null device, or an action that is executing already, fails an assertion.
     */
    void executeWithDevice(const VXDevicePlugin::Ptr &theDevice, Completion completion = {});
    /**
     * The same, and then calls the delegate's invokable method with the action (VXDeviceAction *) and, when that is
     * not none, the user info. A null delegate gets no call; one without such a method fails an assertion.
     */
    void executeWithDevice(const VXDevicePlugin::Ptr &theDevice, QObject *delegate,
                           const QByteArray &didCompleteSelector, const QVariant &userInfo = {});

    /** How the action is run once the device is known: at once. For subclasses that run it elsewhere or later. */
    virtual void execute();
    /** For a secondary thread: runs it and returns when it has concluded, however long that takes. Once the application
     *  object is gone it ends with the cancelled error, and no completion is called. To be called by a subclass's
     *  `execute`; others use executeThreadedWithDevice. */
    void executeThreaded();
    /** As executeWithDevice, and returns when the action has concluded. The main thread must run its event loop. */
    void executeThreadedWithDevice(const VXDevicePlugin::Ptr &theDevice, Completion completion = {});

    /**
     * Called by the handler, once, when it is done: calls the completion on the main thread and waits for that, then
     * takes the activity away and ends the execution. What the completion throws becomes the error, if there is none yet. Not on a
     * thread that the main thread is waiting for.
     */
    void conclude();

    /**
     * Asks for an abort: reports the error VXErrorCancelled, which the handler shall notice (isCancelled) and conclude.
     * When it has not 60 seconds later, the execution is ended for it, by a timer of this thread (of the main thread,
     * when this one has no event loop). With a sender the timer outlives the conclusion and does so again.
     */
    Q_INVOKABLE void cancel(QObject *sender = nullptr);

Q_SIGNALS:
    /** Title, status, value or maximum changed: see `activity`. */
    void progressDidChange();
    /** The error that counts was reported. */
    void errorDidOccur(const VXError &error);
    /** Somebody asked for an abort, maybe not for the first time. */
    void cancelRequested();
    /** The execution has ended: the completion was called, and the activity is gone. */
    void didConclude();

protected:
    /** How long an abort may take, and how often a waiting executeThreaded looks: 60 and 1 seconds. For tests. */
    static void setDelays(std::chrono::milliseconds cancelDelay, std::chrono::milliseconds pollInterval);

private:
    struct CancelWatchdog;

    void prepareExecution(const VXDevicePlugin::Ptr &theDevice, Completion completion);
    void _execute();
    void failWithoutHandler();
    void failWithThrown(const VXDeviceActionHandler &handler, const VXThrown &thrown);
    /** Emits a signal, whose slots are anybody's code. */
    template <class... Parameters, class... Arguments>
    void tell(void (VXDeviceAction::*signal)(Parameters...), const Arguments &...arguments)
    {
        try {
            Q_EMIT(this->*signal)(arguments...);
        } catch (...) {
            reportFaultOfSlot();
        }
    }
    void reportFaultOfSlot() const;
    template <class Change>
    bool changeActivity(const Change &change);
    void finish();
    void callCompletion();
    void dropCompletion();
    Completion takeCompletion();
    void _deviceFailedToRespondToCancel();

    const QString _actionName;
    std::atomic<bool> _isExecuting{false};

    mutable VXMutex _lock;
    VXCondition _concluded;
    QVariant _object VX_GUARDED_BY(_lock);
    QVariant _object_cntx VX_GUARDED_BY(_lock);
    QVariant _result VX_GUARDED_BY(_lock);
    Taker _taker VX_GUARDED_BY(_lock);
    VXActivity::Ptr _activity VX_GUARDED_BY(_lock);
    VXError _error VX_GUARDED_BY(_lock);
    Completion _callbackInvocation VX_GUARDED_BY(_lock);
    VXDevicePlugin::Ptr _device VX_GUARDED_BY(_lock);
    std::vector<std::shared_ptr<CancelWatchdog>> _watchdogs VX_GUARDED_BY(_lock); // those that a conclusion withdraws
    Ptr _self VX_GUARDED_BY(_lock);                                               // until the handler concludes
};
