#pragma once

#include "VXNotificationCenter.h"
#include "VXPlatformExport.h"

#include <QtCore/QBasicTimer>
#include <QtCore/QObject>

#include <vector>

/**
 * Delays notifications until its thread is idle, that is until its event loop has handled the pending events, and posts
 * equal ones (same name, same object) only once. A queue belongs to one thread, which must run an event loop for
 * anything to be posted; use it on that thread only.
 */
class VX_PLATFORM_EXPORT VXNotificationQueue : public QObject
{
    Q_OBJECT

public:
    /** The calling thread's queue for the default center; lives as long as the thread. */
    static VXNotificationQueue &defaultQueue();

    explicit VXNotificationQueue(VXNotificationCenter &center);
    ~VXNotificationQueue() override;

    /** Posts when idle. Replaces an equal notification that is waiting, so that observers get the last user info. */
    void enqueueNotification(VXNotificationName name, const QVariant &object = {}, const QVariantMap &userInfo = {});
    /** Drops waiting notifications of that name about that object. */
    void dequeueNotifications(VXNotificationName name, const QVariant &object = {});
    /** Posts the waiting notifications now, in the order in which they were first enqueued. Those that observers
     *  enqueue meanwhile keep waiting. */
    void postWaiting();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    std::vector<VXNotification>::iterator find(VXNotificationName name, const QVariant &object);

    VXNotificationCenter &_center;
    std::vector<VXNotification> _waiting;
    QBasicTimer _idle; // with interval zero: fires when the event loop has nothing else to do
};
