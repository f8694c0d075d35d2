#include "VXOutboxReport.h"

#include "VXHostJSON.h"
#include "VXShownDate.h"
#include "VXTextTable.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Entries = QList<VXOutboxEntry>;

/** What waits before an entry, for the same destination. */
class Predecessors
{
public:
    Predecessors(const VXOutbox &outbox, const Entries &entries)
    {
        for (const VXOutboxEntry &entry : entries) {
            if (entry.state == VXOutboxState::Queued && !_open.contains(entry.kind))
                _open.insert(entry.kind, outbox.openEntries(entry.kind).value_or(Entries()));
        }
    }
    /** The first of them; none where the entry is the first, or does not wait. */
    std::optional<VXOutboxEntry> firstBefore(const VXOutboxEntry &entry) const
    {
        if (entry.state != VXOutboxState::Queued)
            return std::nullopt;
        for (const VXOutboxEntry &other : _open.value(entry.kind)) {
            if (other.destination == entry.destination)
                return other.number < entry.number ? std::optional(other) : std::nullopt;
        }
        return std::nullopt;
    }

private:
    QHash<QString, Entries> _open; // by kind, in their order
};

// Until the tries have ended that were asked for; none, with an error, when they cannot be read.
std::optional<Entries> waitForTries(const VXOutbox &outbox, const Entries &asked, VXError *error)
{
    QTimer wake;
    wake.start(std::chrono::milliseconds(200)); // another process may be sending
    while (true) {
        Entries now;
        bool isDone = true;
        for (const VXOutboxEntry &before : asked) {
            const std::optional<VXOutboxEntry> entry = outbox.entry(before.number, error);
            if (!entry && *error)
                return std::nullopt;
            if (!entry) // dropped meanwhile
                continue;
            now.append(*entry);
            const bool waits = entry->state == VXOutboxState::Queued && entry->attempts == before.attempts;
            const auto first = waits ? Predecessors(outbox, {*entry}).firstBefore(*entry) : std::nullopt;
            const bool isBehind = first && first->nextDate > QDateTime::currentDateTimeUtc();
            isDone = isDone && (!waits || isBehind) && entry->state != VXOutboxState::Sending;
            if (!isDone)
                break;
        }
        if (isDone)
            return now;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

QString idOf(const VXOutboxEntry &entry)
{
    return u'p' + QString::number(entry.number);
}

QString stateText(const VXOutboxEntry &entry, const std::optional<VXOutboxEntry> &before)
{
    if (before)
        return u"queued behind "_s + idOf(*before);
    if (entry.state == VXOutboxState::Queued && entry.attempts > 0)
        return u"queued until "_s + VXShownDate(entry.nextDate);
    return VXOutboxStateName(entry.state);
}

QJsonObject jsonOf(const VXOutboxEntry &entry, const std::optional<VXOutboxEntry> &before)
{
    return {{u"id"_s, idOf(entry)},
            {u"behind"_s, before ? QJsonValue(idOf(*before)) : QJsonValue()},
            {u"kind"_s, entry.kind},
            {u"destination"_s, entry.destination},
            {u"title"_s, entry.title},
            {u"state"_s, VXOutboxStateName(entry.state)},
            {u"problem"_s, VXJSONFromVariant(entry.problem)},
            {u"attempts"_s, entry.attempts},
            {u"created"_s, VXReportedDate(entry.createdDate)},
            {u"next"_s, VXReportedDate(entry.nextDate)},
            {u"finished"_s, VXReportedDate(entry.finishedDate)},
            {u"payload"_s, VXJSONFromVariant(entry.payload)}};
}

} // namespace

int VXAnswerOutboxEntries(VXHostContext &context, const VXOutbox &outbox, const Entries &entries, int status)
{
    const Predecessors predecessors(outbox, entries);
    QJsonArray json;
    QList<QStringList> rows{{u"ID"_s, u"ADDED"_s, u"WHAT"_s, u"TO"_s, u"TRIES"_s, u"STATE"_s, u"WHY"_s}};
    for (const VXOutboxEntry &entry : entries) {
        const std::optional<VXOutboxEntry> before = predecessors.firstBefore(entry);
        json.append(jsonOf(entry, before));
        rows.append({idOf(entry), VXShownDate(entry.createdDate), entry.title, entry.destination,
                     QString::number(entry.attempts), stateText(entry, before), entry.problem});
    }
    context.output.answer(entries.isEmpty()
                              ? u"The outbox is empty.\n"_s
                              : VXFittingTable(context.output, rows, {u"ADDED"_s, u"TRIES"_s, u"TO"_s}, u"WHY"_s),
                          json);
    return status;
}

int VXAnswerTries(VXHostContext &context, const VXOutbox &outbox, const QList<VXOutboxEntry> &asked)
{
    VXError error;
    const std::optional<Entries> now = waitForTries(outbox, asked, &error);
    if (!now)
        return context.output.fail(error.localizedDescription());
    const bool areSent =
        std::ranges::all_of(*now, [](const VXOutboxEntry &e) { return e.state == VXOutboxState::Sent; });
    return VXAnswerOutboxEntries(context, outbox, *now, areSent ? VXHostOutput::Done : VXHostOutput::Failed);
}
