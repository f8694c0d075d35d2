#include "VXPerhapsSent.h"

#include "VXMessageMatch.h"
#include "VXMethodLog.h"
#include "VXOutgoingMessage.h"

#include <algorithm>

namespace {

constexpr qint64 accuracy = 2; // seconds: phones do not record fractions of them
constexpr qint64 longestSending =
    600; // seconds, from its time on: a program that is killed does not tell when it ended

bool isCopyOf(const VXOutboxEntry &entry, const VXMessageRecord &copy)
{
    const QDateTime latest = std::min(entry.finishedDate.addSecs(accuracy), entry.nextDate.addSecs(longestSending));
    return !copy.isIncoming() && copy.state == VXMessageRecord::State::Sent && entry.nextDate.isValid() &&
           copy.date.isValid() && copy.date >= entry.nextDate.addSecs(-accuracy) && copy.date <= latest &&
           VXMessageMatch::isAlike(copy, VXOutgoingMessage(entry).record());
}

} // namespace

VXPerhapsSent::VXPerhapsSent(const QUrl &device) : _outbox(VXOutbox::sharedOutbox())
{
    if (!_outbox)
        return;
    _entries = _outbox->entries(VXOutgoingMessage::kind).value_or(QList<VXOutboxEntry>());
    _entries.removeIf([&](const VXOutboxEntry &entry) {
        return entry.state != VXOutboxState::PerhapsSent || entry.destination != VXOutgoingMessage::destination(device);
    });
}

bool VXPerhapsSent::mayBeCopy(const VXMessageRecord &message) const
{
    return std::ranges::any_of(_entries, [&](const VXOutboxEntry &entry) { return isCopyOf(entry, message); });
}

QList<std::optional<qint64>> VXPerhapsSent::entriesOf(const QList<VXMessageRecord> &copies) const
{
    QList<std::optional<qint64>> found(copies.size());
    for (const VXOutboxEntry &entry : _entries) {
        const auto isCopy = [&](const VXMessageRecord &copy) { return isCopyOf(entry, copy); };
        if (std::ranges::count_if(copies, isCopy) != 1)
            continue;
        const auto copy = std::ranges::find_if(copies, isCopy);
        const auto isAlso = [&](const VXOutboxEntry &other) { return isCopyOf(other, *copy); };
        if (std::ranges::count_if(_entries, isAlso) == 1)
            found[copy - copies.begin()] = entry.number;
    }
    return found;
}

QUrl VXPerhapsSent::draft(qint64 number) const
{
    const auto entry = std::ranges::find(_entries, number, &VXOutboxEntry::number);
    return entry == _entries.end() ? QUrl() : VXOutgoingMessage(*entry).messageURI;
}

void VXPerhapsSent::settle(qint64 number, const QDateTime &date) const
{
    VXError error;
    std::optional<VXOutboxEntry> entry = _outbox->entry(number, &error);
    if (entry && entry->state == VXOutboxState::PerhapsSent) {
        entry->state = VXOutboxState::Sent;
        entry->problem = QString();
        entry->finishedDate = date;
        static_cast<void>(_outbox->update(*entry, &error));
    }
    if (!error.isNull())
        VXLogMethod(VXLogError, "settle:", error.description());
}
