#pragma once

#include "VXMessageRecord.h"
#include "VXOutbox.h"

#include <QtCore/QList>
#include <QtCore/QUrl>

#include <optional>

/**
 * The messages of which nobody knows whether a phone has sent them, and what the phone's own copies say about that. A
 * copy with the same party and text, dated while the message was tried, can only be that message. If there are two of
 * either, or a clock is wrong, the decision is left to the user.
 */
class VXPerhapsSent
{
public:
    explicit VXPerhapsSent(const QUrl &device);

    /** Whether `entriesOf` needs to see the message. */
    bool mayBeCopy(const VXMessageRecord &message) const;
    /** For each of the phone's messages the number of the entry of which it is the copy; none for others. */
    QList<std::optional<qint64>> entriesOf(const QList<VXMessageRecord> &copies) const;
    /** The draft of an entry. */
    QUrl draft(qint64 number) const;
    /** Notes in the outbox that the entry was sent on that date, unless it was tried again meanwhile. */
    void settle(qint64 number, const QDateTime &date) const;

private:
    std::optional<VXOutbox> _outbox;
    QList<VXOutboxEntry> _entries;
};
