#pragma once

#include "VXCall.h"
#include "VXNewsQueue.h"
#include "VXNotificationCenter.h"
#include "VXPersistentStoreCoordinator.h"

#include <optional>

/**
 * Writes calls into the history as events tell of them: one object for each call, from ringing over connected to ended. Events
 * of one call are known by the phone's "call_id", else by phone, parties and direction. Any thread. News that come while
 * another thread writes are left to that one; other programs that write, or sync, are waited for (VXStoreWorkLock).
 */
class VXCallRecorder
{
public:
    /** The recorder keeps the store open. */
    explicit VXCallRecorder(const VXPersistentStoreCoordinator::Ptr &coordinator);

    /** For observers of VXEventManagerWillPostEventNotification. Events that are not about a call are ignored. */
    void eventWillBePosted(const VXNotification &notification);

private:
    std::optional<VXCallNews> newsOf(const VXNotification &notification) const;
    bool record(const VXCallNews &news);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    VXNewsQueue<VXCallNews> _news; // two events of one call must not both find that there is none
};
