#include "VXDeviceWork.h"

#include "VXException.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"

using namespace Qt::StringLiterals;

void VXDeviceWork::offer(QObject *owner, const QString &name, const QString &neededAction, const Maker &make)
{
    VXNotificationCenter::defaultCenter().addObserver(
        owner, VXDevicePluginDidAddDeviceNotification, [=](const VXNotification &notification) {
            offerTo(notification.object.value<VXDevicePlugin *>(), owner, name, neededAction, make);
        });
    for (const VXDevicePlugin::Ptr &device : VXDevicePlugin::liveDevices())
        offerTo(device.get(), owner, name, neededAction, make);
}

void VXDeviceWork::offerTo(VXDevicePlugin *device, QObject *owner, const QString &name, const QString &neededAction,
                           const Maker &make)
{
    if (device == nullptr || !device->actionNames().contains(neededAction))
        return;
    const auto begin = [make](VXDeviceAction *action) {
        VXMainThread::perform([make, asked = std::static_pointer_cast<VXDeviceAction>(action->shared_from_this())] {
            make(asked)->begin();
        });
    };
    device->registerActionHandler(name, VXDeviceActionHandler(owner, begin), false);
}

void VXDeviceWork::begin()
{
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
    try {
        step();
    } catch (...) {
        const VXThrown thrown = VXDescribeThrown();
        VXLogMethod(VXLogError, "perform", "A step of %1 threw: %2"_L1.arg(_whole->actionName(), thrown.description));
        _whole->setErrorThrown(thrown);
        if (_whole->isExecuting())
            end();
    }
}

void VXDeviceWork::end()
{
    _lock.reset(); // who waits for the end may begin another
    _whole->conclude();
}

void VXDeviceWork::perform(const QString &name, const QVariant &object, const QString &statusText, const Then &then,
                           const VXDeviceAction::Taker &taker)
{
    if (_whole->isCancelled())
        return end();
    const VXDeviceAction::Ptr part = VXDeviceAction::actionWithName(name);
    part->setObject(object);
    part->setTaker(taker);
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
