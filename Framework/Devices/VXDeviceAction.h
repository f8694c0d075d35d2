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
#include <functional>
#include <memory>
#include <vector>

struct VXThrown;

/**
 * A named request to a device, for example to send a message. The caller makes it, may attach the object it concerns,
 * and executes it. The device's active handler for the name carries it out, at once or much later; it reports errors,
 * of which the first counts, and ends with `conclude`, which calls the caller back on the main thread. Meanwhile the
 * action is shown as an activity, and emits signals about its progress. Always owned by a shared pointer, never by a
 * parent; an executing action also keeps itself alive, so a handler may keep the plain pointer until it concludes. Any
 * thread may call; signals are emitted on the calling thread, and exceptions of slots are logged and go no further.
 */
class VX_EXPORT VXDeviceAction : public QObject, public std::enable_shared_from_this<VXDeviceAction>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXDeviceAction>;
    using Completion = std::function<void(VXDeviceAction *action)>;

    /** A null name fails an assertion. */
    static Ptr actionWithName(const QString &theActionName);
    /** For subclasses, which are made by std::make_shared. */
    explicit VXDeviceAction(const QString &theActionName);
    ~VXDeviceAction() override;

    // -- What it is
    QString actionName() const { return _actionName; }
    /** The device it runs on, from the first execution on; null before. */
    VXDevicePlugin::Ptr device() const;
    /** True from `executeWithDevice` until `conclude`. */
    bool isExecuting() const { return _isExecuting; }

    /** What the action concerns, such as a record, a message, or a text; invalid for nothing. */
    QVariant object() const;
    /** Keeps the object, and its value for the key "managedObjectContext", alive as far as a QVariant can: values and
     *  shared pointers. For a plain pointer, the owner must keep the object and its context alive. */
    void setObject(const QVariant &object);

    /** The handler's result: if possible a property-list value; invalid for none. The handler sets it before it
     *  concludes; the next execution clears it. */
    QVariant result() const;
    void setResult(const QVariant &result);

    // -- Results in portions: for callers that do not want all of a long list in memory
    /** Makes a portion: a map like `result` with some of its "items". Called once, on any thread. */
    using Portion = std::function<QVariantMap()>;
    /** Takes a portion. `next`, if set, is to be called on the main thread when more may come. */
    using Taker = std::function<void(const Portion &portion, const std::function<void()> &next)>;
    /** To be called before the execution it is for. A handler that does not support portions still puts everything into
     *  the result. */
    void setTaker(const Taker &taker);
    /** For the handler, on the main thread: hands over a portion, which must not be part of the result then. False when
     *  there is no taker, or no longer one: nothing was done with the portion. */
    bool handOver(const Portion &portion, const std::function<void()> &next = {});

    /** Class, address, action name, and the error or "no error": for logs. */
    QString description() const;

    // -- Progress, for the handler: shown by the activity, which the first setTitle makes; without effect before
    void setTitle(const QString &title);
    void setStatusText(const QString &text);
    double progressValue() const;
    void setProgressValue(double value);
    void setProgressMaxValue(double value);
    void incrementProgress();
    /** Null while no activity is shown. */
    VXActivity::Ptr activity() const;

    // -- Errors
    /** The first error reported in the action's life, completed by the action's name and the device's URL; null for
     *  none. */
    VXError error() const;
    /** Reports a failure. A null error is ignored; an error after the first is logged and dropped. */
    void setError(const VXError &error);
    /** Reports a failure of which only a text is known (VXErrorTextOnly). */
    void setErrorString(const QString &text);
    /** Reports an exception that a part of the work threw, as `executeWithDevice` does for its handler. */
    void setErrorThrown(const VXThrown &thrown);
    /** Whether the error that counts is the abort. A handler checks this while it works, unless it listens to
     *  cancelRequested. */
    bool isCancelled() const { return error().code() == VXErrorCancelled && error().domain() == VXErrorDomain; }

    // -- Running
    /**
     * Executes the action on the device, and then calls `completion` on the main thread. The handler runs now, on this
     * thread. An exception that it throws becomes the error and concludes the action; so does a thrown value of another
     * type, which is then rethrown. A null device, or an action that is already executing, fails an assertion.
     */
    void executeWithDevice(const VXDevicePlugin::Ptr &theDevice, Completion completion = {});
    /**
     * The same; in the end calls the delegate's invokable method with the action (VXDeviceAction *) and, unless it is
     * none, the user info. A null delegate is not called; one without such a method fails an assertion.
     */
    void executeWithDevice(const VXDevicePlugin::Ptr &theDevice, QObject *delegate,
                           const QByteArray &didCompleteSelector, const QVariant &userInfo = {});

    /** Runs the action when the device is known; here at once. For subclasses that run it elsewhere or later. */
    virtual void execute();
    /** For a secondary thread: runs the action and returns when it has concluded, however long that takes. Once the
     *  application object is gone, it ends with the cancelled error, and no completion is called. To be called by a
     *  subclass's `execute`; other callers use executeThreadedWithDevice. */
    void executeThreaded();
    /** Same as executeWithDevice, but returns when the action has concluded. The main thread must run its event loop.
     *  */
    void executeThreadedWithDevice(const VXDevicePlugin::Ptr &theDevice, Completion completion = {});

    /**
     * To be called by the handler, once, when it is done: calls the completion on the main thread and waits for it,
     * then removes the activity and ends the execution. An exception of the completion becomes the error, if there is
     * none yet. Must not be called on a thread that the main thread is waiting for.
     */
    void conclude();

    /**
     * Asks for an abort: reports the error VXErrorCancelled; the handler should notice it (isCancelled) and conclude.
     * If it has not done so after 60 seconds, a timer ends the execution; the timer belongs to this thread, or to the
     * main thread if this one has no event loop. With a sender, the timer outlives the conclusion and does so again.
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

private:
    struct CancelWatchdog;

    void prepareExecution(const VXDevicePlugin::Ptr &theDevice, Completion completion);
    void _execute();
    void failWithoutHandler();
    void failWithThrown(const VXDeviceActionHandler &handler, const VXThrown &thrown);
    /** Emits a signal; the slots are foreign code. */
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
    std::vector<std::shared_ptr<CancelWatchdog>> _watchdogs VX_GUARDED_BY(_lock); // withdrawn by a conclusion
    Ptr _self VX_GUARDED_BY(_lock);                                               // set until the handler concludes
};
