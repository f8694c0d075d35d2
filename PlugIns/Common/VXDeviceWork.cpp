#include "VXDeviceWork.h"

#include "VXApplication.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXNotificationCenter.h"
#include "VXPluginGuard.h"

using namespace Qt::StringLiterals;

void VXDeviceWork::offer(VXPlugin *owner, const QString &name, const QString &neededAction, const Maker &make)
{
    const auto begun = std::make_shared<Begun>();
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    center.addObserver(owner, VXDevicePluginDidAddDeviceNotification, [=](const VXNotification &notification) {
        offerTo(notification.object.value<VXDevicePlugin *>(), owner, name, neededAction, begun, make);
    });
    for (const VXDevicePlugin::Ptr &device : VXDevicePlugin::liveDevices())
        offerTo(device.get(), owner, name, neededAction, begun, make);
    // Posted before the owner removes the classes of its objects.
    center.addObserver(owner, VXPluginWillUnloadNotification, [=](const VXNotification &notification) {
        if (notification.object.value<VXPlugin *>() == owner)
            begun->breakOff();
    });
    QObject::connect(&VXApplication::sharedApplication(), &VXApplication::willTerminate, owner,
                     [begun] { begun->cancel(); });
}

void VXDeviceWork::offerTo(VXDevicePlugin *device, VXPlugin *owner, const QString &name, const QString &neededAction,
                           const std::shared_ptr<Begun> &begun, const Maker &make)
{
    if (device == nullptr || !device->actionNames().contains(neededAction))
        return;
    const auto begin = [begun, make](VXDeviceAction *action) {
        VXMainThread::perform(
            [begun, make, asked = std::static_pointer_cast<VXDeviceAction>(action->shared_from_this())] {
                Begun::begin(begun, asked, make);
            });
    };
    device->registerActionHandler(name, VXDeviceActionHandler(owner, begin), false);
}

// -- What goes on for an owner

void VXDeviceWork::Begun::begin(const std::shared_ptr<Begun> &begun, const VXDeviceAction::Ptr &action,
                                const Maker &make)
{
    if (begun->isUnloading) {
        action->setError(VXError(VXErrorDomain, VXErrorCancelled));
        return action->conclude();
    }
    const std::shared_ptr<VXDeviceWork> work = make(action);
    work->_begun = begun;
    std::erase_if(begun->works, [](const auto &known) { return known.expired(); });
    begun->works.push_back(work);
    work->begin();
}

std::vector<std::shared_ptr<VXDeviceWork>> VXDeviceWork::Begun::going() const
{
    std::vector<std::shared_ptr<VXDeviceWork>> going;
    for (const std::weak_ptr<VXDeviceWork> &known : works) {
        if (const auto work = known.lock(); work && !work->_hasEnded)
            going.push_back(work);
    }
    return going;
}

void VXDeviceWork::Begun::cancel() const
{
    for (const auto &work : going())
        work->_whole->cancel();
}

void VXDeviceWork::Begun::breakOff()
{
    isUnloading = true;
    const auto broken = going();
    for (const auto &work : broken) // code on another thread checks this between steps
        work->_whole->setError(VXError(VXErrorDomain, VXErrorCancelled));
    gate.close();
    for (const auto &work : broken)
        work->end();
}

// -- From begin to end

void VXDeviceWork::begin()
{
    QObject::connect(_whole.get(), &VXDeviceAction::didConclude, [self = weak_from_this()] {
        if (const auto work = self.lock())
            work->_isLeft = true;
    });
    if (!_lockPath.isNull())
        _lock.emplace(_lockPath, std::chrono::milliseconds(0));
    if (!_lock || !_lock->isTimedOut())
        return carryOut([this] { start(); });
    _whole->setErrorString(VXLocalizedString(
        u"The same is being done already, here or by another program: try again when it has ended."_s));
    end();
}

// Nobody else would end the whole.
void VXDeviceWork::carryOut(const std::function<void()> &step)
{
    if (_hasEnded)
        return;
    try {
        step();
    } catch (...) {
        const VXThrown thrown = VXDescribeThrown();
        VXLogMethod(VXLogError, "perform", "A step of %1 threw: %2"_L1.arg(_whole->actionName(), thrown.description));
        _whole->setErrorThrown(thrown);
        end();
    }
}

void VXDeviceWork::end()
{
    if (std::exchange(_hasEnded, true))
        return;
    cancelPart();
    _lock.reset(); // whoever waits for the end may begin another
    if (!_isLeft || !_whole->isExecuting())
        _whole->conclude();
}

void VXDeviceWork::perform(const QString &name, const QVariant &object, const QString &statusText, const Then &then,
                           const VXDeviceAction::Taker &taker)
{
    if (_whole->isCancelled())
        return end();
    const VXDeviceAction::Ptr part = VXDeviceAction::actionWithName(name);
    part->setObject(object);
    if (taker) // a driver's portion may arrive late
        part->setTaker([self = weak_from_this(), taker](const auto &portion, const auto &next) {
            if (const auto work = self.lock())
                taker(portion, next);
        });
    _part = part;
    _whole->setStatusText(statusText);
    QObject::connect(_whole.get(), &VXDeviceAction::cancelRequested, part.get(),
                     [part = part.get()] { part->cancel(); });
    QObject::connect(part.get(), &VXDeviceAction::progressDidChange, _whole.get(),
                     [whole = _whole.get(), part = part.get()] {
                         if (const VXActivity::Ptr activity = part->activity()) {
                             whole->setProgressMaxValue(activity->maxValue());
                             whole->setProgressValue(activity->doubleValue());
                         }
                     });
    const auto conclude = [self = shared_from_this(), then](VXDeviceAction *concluded) {
        concluded->disconnect(self->_whole.get());
        self->_whole->disconnect(concluded);
        self->_part.reset();
        self->carryOut([&] { then(*concluded); });
    };
    VXCallPlugin(*_whole->device(), "executeWithDevice", [&] { part->executeWithDevice(_whole->device(), conclude); });
}

void VXDeviceWork::cancelPart()
{
    if (const VXDeviceAction::Ptr part = _part.lock(); part && part->isExecuting())
        part->cancel();
}

bool VXDeviceWork::isOver() const
{
    const QVariant isConnected = _whole->device()->property("isConnected");
    return _whole->isCancelled() || (isConnected.isValid() && !isConnected.toBool());
}
