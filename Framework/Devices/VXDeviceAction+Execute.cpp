#include "VXDeviceAction.h"

#include "VXActivityManager.h"
#include "VXDeviceActionDelays.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXNone.h"
#include "VXPluginGuard.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QStringBuilder>
#include <QtCore/QTimer>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

std::atomic<std::chrono::milliseconds> cancelDelay{std::chrono::seconds(60)};
std::atomic<std::chrono::milliseconds> pollInterval{std::chrono::seconds(1)};

QString nameOf(const VXDevicePlugin::Ptr &device)
{
    return device ? VXDescription(device->name()) : VXDescription({});
}

} // namespace

// Shared with a timer that waits for an aborted action to end.
struct VXDeviceAction::CancelWatchdog
{
    explicit CancelWatchdog(Ptr watched) : action(std::move(watched)) {}

    Ptr take()
    {
        const VXMutexLocker locker(lock);
        return std::exchange(action, nullptr);
    }

    VXMutex lock;
    Ptr action VX_GUARDED_BY(lock); // null once withdrawn
};

void VXSetDeviceActionDelays(std::chrono::milliseconds cancel, std::chrono::milliseconds poll)
{
    cancelDelay = cancel;
    pollInterval = poll;
}

// -- Running

void VXDeviceAction::executeWithDevice(const VXDevicePlugin::Ptr &theDevice, Completion completion)
{
    prepareExecution(theDevice, std::move(completion));
    execute();
}

void VXDeviceAction::executeWithDevice(const VXDevicePlugin::Ptr &theDevice, QObject *delegate,
                                       const QByteArray &didCompleteSelector, const QVariant &userInfo)
{
    if (delegate == nullptr)
        return executeWithDevice(theDevice);
    QVariantList arguments{QVariant::fromValue(this)};
    if (!VXIsNone(userInfo))
        arguments.append(userInfo);
    const auto invocation = VXInvocation::withMethod(delegate, didCompleteSelector, arguments);
    VXAssert(!invocation.isNull(),
             u"Target does not respond to %1: %2"_s.arg(QString::fromUtf8(didCompleteSelector),
                                                        QString::fromLatin1(delegate->metaObject()->className())));
    executeWithDevice(theDevice, [invocation](VXDeviceAction *) { static_cast<void>(invocation.invoke()); });
}

void VXDeviceAction::executeThreadedWithDevice(const VXDevicePlugin::Ptr &theDevice, Completion completion)
{
    prepareExecution(theDevice, std::move(completion));
    executeThreaded();
}

void VXDeviceAction::prepareExecution(const VXDevicePlugin::Ptr &theDevice, Completion completion)
{
    VXAssert(theDevice != nullptr, "theDevice can not be nil: "_L1 + _actionName);
    VXAssert(!_isExecuting.exchange(true), "Action is already executing: "_L1 + _actionName);
    VXDevicePlugin::Ptr device = theDevice;
    QVariant result;
    const VXMutexLocker lock(_lock); // the former values are destroyed after the lock is released
    _device.swap(device);
    _callbackInvocation.swap(completion);
    _result.swap(result);
    _self = shared_from_this();
}

void VXDeviceAction::execute()
{
    _execute();
}

void VXDeviceAction::executeThreaded()
{
    const Ptr self = shared_from_this();
    _execute();
    for (int polls = 1; isExecuting(); polls = (polls + 1) % 30) {
        if (polls == 29)
            VXLogMethod(VXLogWarning, "executeThreaded", "waiting for action: "_L1 + description());
        if (VXMainThread::hasEnded() && isExecuting())
            finish(); // otherwise nothing would conclude the action: the main thread runs no more calls
        const VXMutexLocker lock(_lock);
        _concluded.waitFor(_lock, pollInterval.load(), [this] { return !isExecuting(); });
    }
}

void VXDeviceAction::_execute()
{
    const Ptr self = shared_from_this(); // the handler may conclude at once
    const VXDevicePlugin::Ptr on = device();
    const VXDeviceActionHandler handler = on ? on->actionHandlerForAction(_actionName) : VXDeviceActionHandler();
    if (handler.isNull())
        return failWithoutHandler();
    setTitle(u'[' % nameOf(on) % "] "_L1 % _actionName);
    try {
        handler.invoke(this);
    } catch (const std::exception &) {
        failWithThrown(handler, VXDescribeThrown());
    } catch (...) { // not a std::exception: rethrown to the caller once the action has ended
        failWithThrown(handler, VXDescribeThrown());
        throw;
    }
}

void VXDeviceAction::failWithoutHandler()
{
    setError(VXError(VXErrorDomain, VXErrorCouldNotExecute,
                     {{VXLocalizedDescriptionKey, VXLocalizedString(u"%1 did not respond."_s).arg(nameOf(device()))},
                      {VXLocalizedRecoverySuggestionKey,
                       VXLocalizedString(u"Use the preferences to enable services for this device."_s)}}));
    conclude();
}

void VXDeviceAction::failWithThrown(const VXDeviceActionHandler &handler, const VXThrown &thrown)
{
    const VXDevicePlugin::Ptr on = device();
    VXLogMethod(
        VXLogError, "_execute",
        u"An exception was thrown while processing a device action:\n\taction: %1\n\tinvocation: %2\n\t"
        "device: %3\n\texception: %4"_s.arg(_actionName, handler.description(), on->description(), thrown.description));
    setErrorThrown(thrown);
    conclude();
}

void VXDeviceAction::setErrorThrown(const VXThrown &thrown)
{
    setError(VXError(VXErrorDomain, VXErrorCouldNotExecute,
                     {{VXLocalizedDescriptionKey,
                       VXLocalizedString(u"Unable to execute %1 on %2."_s).arg(_actionName, nameOf(device()))},
                      {VXLocalizedRecoverySuggestionKey, thrown.reason}}));
}

// -- The end

void VXDeviceAction::conclude()
{
    const Ptr self = shared_from_this();
    {
        // Before the end is announced: whoever receives that may execute the action again, which sets _self anew.
        const VXMutexLocker lock(_lock);
        _self = nullptr;
    }
    finish();
}

void VXDeviceAction::finish()
{
    const bool wasTold = VXMainThread::performAndWait([this] { callCompletion(); });
    if (!wasTold)
        dropCompletion();
    VXActivity::Ptr shown;
    {
        const VXMutexLocker lock(_lock);
        shown = std::exchange(_activity, nullptr);
    }
    VXActivityManager::sharedActivityManager().removeActivity(shown);
    {
        const VXMutexLocker lock(_lock);
        _isExecuting = false;
        _concluded.notifyAll();
    }
    tell(&VXDeviceAction::didConclude);
}

// Also withdraws the watchdogs.
VXDeviceAction::Completion VXDeviceAction::takeCompletion()
{
    Completion completion;
    Taker taker; // destroyed after the lock is released
    std::vector<std::shared_ptr<CancelWatchdog>> withdrawn;
    {
        const VXMutexLocker lock(_lock);
        _taker.swap(taker);
        completion.swap(_callbackInvocation);
        withdrawn.swap(_watchdogs);
    }
    for (const auto &watchdog : withdrawn)
        static_cast<void>(watchdog->take());
    return completion;
}

void VXDeviceAction::callCompletion()
{
    const Completion completion = takeCompletion();
    if (!completion)
        return;
    try { // an exception must not keep the action from ending
        completion(this);
    } catch (...) {
        const VXThrown thrown = VXDescribeThrown();
        VXLogMethod(VXLogError, "conclude", "The completion of an action threw: "_L1 + thrown.description);
        setErrorThrown(thrown);
    }
}

// For the time after the main thread has ended.
void VXDeviceAction::dropCompletion()
{
    static_cast<void>(takeCompletion());
    if (!error())
        setError(VXError(VXErrorDomain, VXErrorCancelled));
}

void VXDeviceAction::cancel(QObject *sender)
{
    const auto watchdog = std::make_shared<CancelWatchdog>(shared_from_this());
    if (sender == nullptr) {
        const VXMutexLocker lock(_lock);
        _watchdogs.push_back(watchdog);
    }
    const auto start = [watchdog] {
        QTimer::singleShot(cancelDelay.load(), [watchdog] {
            if (const Ptr action = watchdog->take())
                action->_deviceFailedToRespondToCancel();
        });
    };
    bool isWatched = true;
    if (QAbstractEventDispatcher::instance() != nullptr)
        start();
    else
        isWatched = VXMainThread::perform(start);
    setError(VXError(VXErrorDomain, VXErrorCancelled));
    tell(&VXDeviceAction::cancelRequested);
    if (!isWatched)
        finish(); // nobody would notice that the device does not respond
}

void VXDeviceAction::_deviceFailedToRespondToCancel()
{
    VXLogMethod(VXLogWarning, "_deviceFailedToRespondToCancel:", description());
    finish(); // the handler may still use the action, which keeps itself alive until the handler concludes
}
