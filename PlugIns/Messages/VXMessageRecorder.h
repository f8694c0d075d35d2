#pragma once

#include "VXMessageParts.h"
#include "VXMessageStore.h"
#include "VXNewsQueue.h"
#include "VXNotificationCenter.h"
#include "VXStoreWorkLock.h"

#include <optional>

/** What an event says about a message, or about a part of one. */
struct VXMessageNews
{
    VXMessageRecord record;
    std::optional<VXMessagePartNews> part = {}; // none: the message is complete
};

/**
 * Files new messages as events report them: in the folder of the phone that they name, else in the suitable root
 * folder. A message that is already there is not filed again; parts wait until their message is complete. Any thread.
 */
class VXMessageRecorder
{
public:
    /** The recorder keeps the store open. */
    explicit VXMessageRecorder(const VXMessageStore &store) : _store(store) {}

    /** For observers of VXEventManagerWillPostEventNotification. Events that are not about a new message are ignored.
     *  */
    void eventWillBePosted(const VXNotification &notification);

private:
    std::optional<VXMessageNews> newsOf(const VXNotification &notification) const;
    /** False if the message is already there, waits for the rest, or could not be stored, which is logged. */
    bool record(const VXMessageNews &news);
    bool file(const VXMessageRecord &record, const VXStoreWorkLock &saving, VXManagedObjectContext &context,
              VXError *error) const;
    VXManagedObjectPtr folderFor(const VXMessageRecord &record, const VXStoreWorkLock &saving,
                                 VXManagedObjectContext &context) const;

    const VXMessageStore _store;
    VXNewsQueue<VXMessageNews> _news;
};
