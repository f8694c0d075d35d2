#pragma once

#include "VXDeviceAction.h"
#include "VXMessageStore.h"
#include "VXOutboxRunner.h"

/**
 * Sends messages that wait in the outbox, each by the phone that is its destination (action "send_message"), and files them as
 * sent once the outbox says so. Main thread.
 */
class VXMessageDelivery
{
public:
    /** Begins to send the entry, unless its message was deleted while it waited; calls the completion once. */
    static VXOutboxRunner::Cancel deliver(const VXOutboxEntry &entry, const VXMessageStore &store,
                                          const VXOutboxRunner::Completion &completion);
    /** What an action that has concluded says of the message. */
    static VXOutboxDelivery outcomeOf(const VXDeviceAction &action);

    /** Files the entry's message in the folder "sent" if the entry was sent. */
    static void fileIfSent(const VXOutboxEntry &entry, const VXMessageStore &store);
    /** What programs that were killed did not do any more: files all that was sent, writes the drafts of what waits, and removes
     * drafts without a word that have no entry. */
    static void settle(const VXOutbox &outbox, const VXMessageStore &store);
};
