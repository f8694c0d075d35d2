#pragma once

#include "VXNotificationCenter.h"
#include "VXPlatformExport.h"

#include <QtCore/QBasicTimer>
#include <QtCore/QObject>

#include <vector>

/**
 * Holds notifications back until its thread is idle, that is until its event loop has handled the events that were
 * there, and posts equal ones (same name, same object) once. One queue belongs to one thread, which must run an event
 * loop for anything to be posted; use it on that thread only.
 */
class VX_PLATFORM_EXPORT VXNotificationQueue : public QObject
{
    Q_OBJECT

public:
    /** The calling thread's queue to the default centre; lives as long as the thread. */
    static VXNotificationQueue &defaultQueue();

    explicit VXNotificationQueue(VXNotificationCenter &center);
    ~VXNotificationQueue() override;

    /**
     * Posts when idle. While an equal notification waits this one takes its place, so that the last user info is
     * the one observers see.
     */
    void enqueueNotification(VXNotificationName name, const QVariant &object = {}, const QVariantMap &userInfo = {});
    /** Drops what waits under that name about that object. */
    void dequeueNotifications(VXNotificationName name, const QVariant &object = {});
    /** Posts what waits now, in the order of first enqueueing. What observers enqueue meanwhile waits on. */
    void postWaiting();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    std::vector<VXNotification>::iterator find(VXNotificationName name, const QVariant &object);

    VXNotificationCenter &_center;
    std::vector<VXNotification> _waiting;
    QBasicTimer _idle; // of no length: due when the event loop has nothing else to do
};
