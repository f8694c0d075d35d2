#include "VXOutboxReport.h"

#include "VXHostJSON.h"
#include "VXTextTable.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Entries = QList<VXOutboxEntry>;

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
            const bool waits = entry->state == VXOutboxState::Queued && entry->attempts == before.attempts;
            isDone = isDone && !waits && entry->state != VXOutboxState::Sending;
            now.append(*entry);
        }
        if (isDone)
            return now;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

QString localText(const QDateTime &date)
{
    return date.isValid() ? date.toLocalTime().toString(u"yyyy-MM-dd HH:mm:ss"_s) : QString();
}

QString stateText(const VXOutboxEntry &entry)
{
    if (entry.state == VXOutboxState::Queued && entry.attempts > 0)
        return u"queued until "_s + localText(entry.nextDate);
    return VXOutboxStateName(entry.state);
}

QJsonObject jsonOf(const VXOutboxEntry &entry)
{
    return {
        {u"id"_s, u'p' + QString::number(entry.number)},
        {u"kind"_s, entry.kind},
        {u"destination"_s, entry.destination},
        {u"title"_s, entry.title},
        {u"state"_s, VXOutboxStateName(entry.state)},
        {u"problem"_s, VXJSONFromVariant(entry.problem)},
        {u"attempts"_s, entry.attempts},
        {u"created"_s, VXJSONFromVariant(entry.createdDate)},
        {u"next"_s, VXJSONFromVariant(entry.nextDate.isValid() ? QVariant(entry.nextDate) : QVariant())},
        {u"finished"_s, VXJSONFromVariant(entry.finishedDate.isValid() ? QVariant(entry.finishedDate) : QVariant())},
        {u"payload"_s, VXJSONFromVariant(entry.payload)}};
}

} // namespace

int VXAnswerOutboxEntries(VXHostContext &context, const Entries &entries, int status)
{
    QJsonArray json;
    QList<QStringList> rows{{u"ID"_s, u"ADDED"_s, u"WHAT"_s, u"TO"_s, u"TRIES"_s, u"STATE"_s, u"WHY"_s}};
    for (const VXOutboxEntry &entry : entries) {
        json.append(jsonOf(entry));
        rows.append({u'p' + QString::number(entry.number), localText(entry.createdDate), entry.title, entry.destination,
                     QString::number(entry.attempts), stateText(entry), entry.problem});
    }
    context.output.answer(entries.isEmpty() ? u"The outbox is empty.\n"_s : VXTextTable(rows), json);
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
    return VXAnswerOutboxEntries(context, *now, areSent ? VXHostOutput::Done : VXHostOutput::Failed);
}
