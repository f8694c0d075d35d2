#include "VXSleepGuard.h"

#include "VXActivityManager.h"

VXSleepGuard::VXSleepGuard(std::chrono::milliseconds patience)
{
    _patience.setSingleShot(true);
    _patience.setInterval(patience);
    _patience.callOnTimeout(this, &VXSleepGuard::inhibit);
    // Later: one that is about to go is still among them.
    const auto later = [this](const VXNotification &) {
        QMetaObject::invokeMethod(this, &VXSleepGuard::follow, Qt::QueuedConnection);
    };
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    center.addObserver(this, VXActivityManagerDidAddActivityNotification, later);
    center.addObserver(this, VXActivityManagerWillRemoveActivityNotification, later);
    follow();
}

VXSleepGuard::~VXSleepGuard() = default;

void VXSleepGuard::follow()
{
    if (VXActivityManager::sharedActivityManager().activities().isEmpty()) {
        _patience.stop();
        _inhibitor.reset();
    } else if (!_inhibitor && !_patience.isActive()) {
        _patience.start();
    }
}

void VXSleepGuard::inhibit()
{
    const QList<VXActivity::Ptr> running = VXActivityManager::sharedActivityManager().activities();
    if (!running.isEmpty())
        _inhibitor = VXSleepInhibitor::inhibitSleep(running.first()->title());
}
