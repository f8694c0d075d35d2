#include "VXActivityList.h"

#include "VXActivityManager.h"

namespace {

constexpr int lookInterval = 100; // ms

} // namespace

VXActivityList::VXActivityList(QObject *parent) : QObject(parent)
{
    _look.setInterval(lookInterval);
    _look.callOnTimeout(this, &VXActivityList::look);
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    center.addObserver(this, VXActivityManagerDidAddActivityNotification,
                       [this](const VXNotification &notification) { add(notification.object.toString()); });
    center.addObserver(this, VXActivityManagerWillRemoveActivityNotification,
                       [this](const VXNotification &notification) { remove(notification.object.toString()); });
    for (const VXActivity::Ptr &activity : VXActivityManager::sharedActivityManager().activities())
        add(activity->identifier());
}

VXActivityList::~VXActivityList() = default;

QList<VXActivity::Ptr> VXActivityList::activities() const
{
    QList<VXActivity::Ptr> shown;
    for (const Entry &entry : _entries) {
        if (entry.isShown)
            shown.append(entry.activity);
    }
    return shown;
}

void VXActivityList::add(const QString &identifier)
{
    Entry entry{VXActivityManager::sharedActivityManager().activityWithIdentifier(identifier), {}};
    if (!entry.activity)
        return;
    entry.since.start();
    _entries.append(entry);
    if (!_look.isActive())
        _look.start();
}

void VXActivityList::remove(const QString &identifier)
{
    bool wasShown = false;
    _entries.removeIf([&](const Entry &entry) {
        const bool isIt = entry.activity->identifier() == identifier;
        wasShown = wasShown || (isIt && entry.isShown);
        return isIt;
    });
    if (_entries.isEmpty())
        _look.stop();
    if (wasShown)
        Q_EMIT activitiesDidChange();
}

void VXActivityList::look()
{
    bool isChanged = false;
    for (Entry &entry : _entries) {
        if (!entry.isShown && entry.since.elapsed() >= _delay)
            isChanged = entry.isShown = true;
    }
    if (isChanged)
        Q_EMIT activitiesDidChange();
    Q_EMIT progressDidChange();
}
