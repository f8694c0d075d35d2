#pragma once

#include "VXCall.h"
#include "VXMutex.h"
#include "VXNotificationCenter.h"
#include "VXPersistentStoreCoordinator.h"

#include <deque>
#include <optional>

/**
 * Writes calls into the history as events tell of them: one object for each call, from ringing over connected to ended. Events
 * of one call are known by the phone's "call_id", else by phone, parties and direction. Any thread. News that come while
 * another thread writes are left to that one: nobody waits, and no lock is held while a store is used.
 */
class VXCallRecorder
{
public:
    /** The recorder holds the store open. */
    explicit VXCallRecorder(const VXPersistentStoreCoordinator::Ptr &coordinator);

    /** For observers of VXEventManagerWillPostEventNotification. Events that are about no call are ignored. */
    void eventWillBePosted(const VXNotification &notification);

private:
    std::optional<VXCallNews> newsOf(const VXNotification &notification) const;
    /** The next in line, or none and the turn to write given up. */
    std::optional<VXCallNews> takeNext();
    bool record(const VXCallNews &news);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    VXMutex _lock;
    // Two events of one call must not both find that there is none: one thread at a time writes.
    std::deque<VXCallNews> _waiting VX_GUARDED_BY(_lock);
    bool _isWriting VX_GUARDED_BY(_lock) = false;
};
