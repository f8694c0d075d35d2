#pragma once

#include "VXMessageParts.h"
#include "VXMessageStore.h"
#include "VXNewsQueue.h"
#include "VXNotificationCenter.h"
#include "VXStoreWorkLock.h"

#include <optional>

/** What an event says of a message, or of a part of one. */
struct VXMessageNews
{
    VXMessageRecord record;
    std::optional<VXMessagePartNews> part = {}; // none: the message is whole
};

/**
 * Files new messages as events tell of them: in the folder of the phone that they name, else in the root folder that fits. One that is there already
 * is not filed again; parts wait until their message is whole. Any thread.
 */
class VXMessageRecorder
{
public:
    /** The recorder holds the store open. */
    explicit VXMessageRecorder(const VXMessageStore &store) : _store(store) {}

    /** For observers of VXEventManagerWillPostEventNotification. Events that are about no new message are ignored. */
    void eventWillBePosted(const VXNotification &notification);

private:
    std::optional<VXMessageNews> newsOf(const VXNotification &notification) const;
    /** False for what is there already, waits for the rest, or could not be kept, which the log tells. */
    bool record(const VXMessageNews &news);
    bool file(const VXMessageRecord &record, const VXStoreWorkLock &saving, VXManagedObjectContext &context,
              VXError *error) const;
    VXManagedObjectPtr folderFor(const VXMessageRecord &record, const VXStoreWorkLock &saving,
                                 VXManagedObjectContext &context) const;

    const VXMessageStore _store;
    VXNewsQueue<VXMessageNews> _news;
};
