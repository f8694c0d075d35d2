#include "VXActivityManager.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"

#include <QtCore/QScopeGuard>

using namespace Qt::StringLiterals;

const VXNotificationName VXActivityManagerDidAddActivityNotification(u"VXActivityManagerDidAddActivityNotification"_s);
const VXNotificationName
    VXActivityManagerWillRemoveActivityNotification(u"VXActivityManagerWillRemoveActivityNotification"_s);

namespace {

// Once the main thread has ended nobody observes the registry, so nothing has to be done.
void onMainThread(const std::function<void()> &work)
{
    static_cast<void>(VXMainThread::performAndWait(work));
}

} // namespace

VXActivityManager &VXActivityManager::sharedActivityManager()
{
    static auto *const manager = new VXActivityManager;
    return *manager;
}

QList<VXActivity::Ptr> VXActivityManager::activities() const
{
    return _activities.values();
}

VXActivity::Ptr VXActivityManager::activityWithIdentifier(const QString &identifier) const
{
    return _activities.value(VXActivity::Key(identifier));
}

VXActivity::Ptr VXActivityManager::addActivityWithTitle(const QString &title, QObject *delegate)
{
    auto activity = std::make_shared<VXActivity>(VXActivity::Key(), title, delegate);
    onMainThread([this, &activity] { add(activity); });
    return activity;
}

VXActivity::Ptr VXActivityManager::addActivityWithTitle(const QString &title, const QString &identifier)
{
    VXAssert(!identifier.isNull(), u"theIdentifier can not be nil: %1"_s.arg(VXDescription(title)));
    auto activity = std::make_shared<VXActivity>(VXActivity::Key(identifier), title);
    onMainThread([this, &activity] { add(activity); });
    return activity;
}

void VXActivityManager::add(const VXActivity::Ptr &activity)
{
    if (VXActivity::Ptr &place = _activities[activity->key()]; !place) {
        place = activity;
    } else {
        VXLogMethod(VXLogError, "addActivityWithTitle:identifier:",
                    u"Activity with this identifier is aready running: %1"_s.arg(activity->identifier()));
        remove(VXActivity::Ptr(place));
        _activities.insert(activity->key(), activity);
    }
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    if (center.hasObservers(VXActivityManagerDidAddActivityNotification))
        center.postNotificationName(VXActivityManagerDidAddActivityNotification, activity->identifier());
}

void VXActivityManager::removeActivity(const VXActivity::Ptr &activity)
{
    if (!activity)
        return;
    onMainThread([this, &activity] {
        if (const auto there = _activities.constFind(activity->key());
            there != _activities.cend() && *there == activity)
            remove(VXActivity::Ptr(activity)); // a copy of the pointer, as observers may change the caller's
    });
}

void VXActivityManager::removeActivityWithIdentifier(const QString &identifier)
{
    onMainThread([this, &identifier] {
        if (const VXActivity::Ptr activity = activityWithIdentifier(identifier))
            remove(activity);
    });
}

void VXActivityManager::remove(const VXActivity::Ptr &leaving)
{
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    if (!center.hasObservers(VXActivityManagerWillRemoveActivityNotification))
        return leave(leaving);
    if (_leaving.contains(leaving))
        return;
    _leaving.append(leaving);
    // Observers may throw, remove the activity themselves, or register another one in its place.
    const auto end = qScopeGuard([&] {
        _leaving.removeOne(leaving);
        leave(leaving);
    });
    center.postNotificationName(VXActivityManagerWillRemoveActivityNotification, leaving->identifier());
}

void VXActivityManager::leave(const VXActivity::Ptr &activity)
{
    if (const auto there = _activities.constFind(activity->key()); there != _activities.cend() && *there == activity)
        _activities.erase(there);
    activity->setDelegate(nullptr);
}
