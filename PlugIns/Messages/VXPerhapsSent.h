#pragma once

#include "VXMessageRecord.h"
#include "VXOutbox.h"

#include <QtCore/QList>
#include <QtCore/QUrl>

#include <optional>

/**
 * The messages of which nobody knows whether a phone has sent them, and what its own copies tell of that: one of the same party and
 * text, dated while it was tried, can be no other. Where there are two of either, and where a clock is wrong, it is left to the user.
 */
class VXPerhapsSent
{
public:
    explicit VXPerhapsSent(const QUrl &device);

    /** Whether `entriesOf` needs to know it. */
    bool mayBeCopy(const VXMessageRecord &message) const;
    /** For each of the phone's messages the number of the entry that it is the copy of; none for others. */
    QList<std::optional<qint64>> entriesOf(const QList<VXMessageRecord> &copies) const;
    /** Of an entry. */
    QUrl draft(qint64 number) const;
    /** Notes in the outbox that it was sent then, unless it was tried again meanwhile. */
    void settle(qint64 number, const QDateTime &date) const;

private:
    std::optional<VXOutbox> _outbox;
    QList<VXOutboxEntry> _entries;
};
