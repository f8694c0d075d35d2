#include "VXNotificationQueue.h"

#include <algorithm>

VXNotificationQueue &VXNotificationQueue::defaultQueue()
{
    thread_local VXNotificationQueue queue(VXNotificationCenter::defaultCenter());
    return queue;
}

VXNotificationQueue::VXNotificationQueue(VXNotificationCenter &center) : _center(center) {}

VXNotificationQueue::~VXNotificationQueue() = default;

std::vector<VXNotification>::iterator VXNotificationQueue::find(VXNotificationName name, const QVariant &object)
{
    return std::find_if(_waiting.begin(), _waiting.end(), [&](const VXNotification &waiting) {
        return waiting.name == name && waiting.object == object;
    });
}

void VXNotificationQueue::enqueueNotification(VXNotificationName name, const QVariant &object,
                                              const QVariantMap &userInfo)
{
    if (const auto waiting = find(name, object); waiting != _waiting.end()) {
        waiting->userInfo = userInfo;
        return;
    }
    _waiting.push_back({name, object, userInfo});
    if (!_idle.isActive())
        _idle.start(0, this);
}

void VXNotificationQueue::dequeueNotifications(VXNotificationName name, const QVariant &object)
{
    if (const auto waiting = find(name, object); waiting != _waiting.end())
        _waiting.erase(waiting);
}

void VXNotificationQueue::postWaiting()
{
    std::vector<VXNotification> posted;
    posted.swap(_waiting);
    _idle.stop();
    for (const VXNotification &notification : posted)
        _center.postNotification(notification);
}

void VXNotificationQueue::timerEvent(QTimerEvent *)
{
    postWaiting();
}
