#pragma once

#include "VXDeviceAction.h"
#include "VXMessageStore.h"
#include "VXOutboxRunner.h"

/**
 * Sends messages that wait in the outbox, each with the phone that is its destination (action "send_message"), and
 * files them as sent once the outbox says so. Main thread.
 */
class VXMessageDelivery
{
public:
    /** Begins to send the entry, unless its message was deleted while it waited; calls the completion once. */
    static VXOutboxRunner::Cancel deliver(const VXOutboxEntry &entry, const VXMessageStore &store,
                                          const VXOutboxRunner::Completion &completion);
    /** What a concluded action says about the message. */
    static VXOutboxDelivery outcomeOf(const VXDeviceAction &action);

    /** Files the entry's message in the folder "sent" if the entry was sent. */
    static void fileIfSent(const VXOutboxEntry &entry, const VXMessageStore &store);
    /** Makes up for what killed programs could not do any more: files everything that was sent, writes the drafts of
     *  what waits, and removes drafts without text that have no entry. */
    static void settle(const VXOutbox &outbox, const VXMessageStore &store);
};
