#include "VXOutboxReport.h"

#include "VXDeviceTransformer.h"
#include "VXDeviceURL.h"
#include "VXHostJSON.h"
#include "VXShownDate.h"
#include "VXTextTable.h"
#include "VXTextWithoutPasswords.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QSet>
#include <QtCore/QTimer>
#include <QtCore/QUrl>

#include <algorithm>
#include <deque>
#include <map>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using Entries = QList<VXOutboxEntry>;

/** The first waiting entry for each destination. */
class Predecessors
{
public:
    template <class Range>
    Predecessors(const VXOutbox &outbox, const Range &entries)
    {
        QSet<QString> kinds;
        for (const VXOutboxEntry &entry : entries)
            kinds.insert(entry.kind);
        for (const QString &kind : std::as_const(kinds)) {
            const Entries open = outbox.openEntries(kind).value_or(Entries());
            for (const VXOutboxEntry &entry : open)
                _first.try_emplace({kind, entry.destination}, entry);
        }
    }
    /** None if the entry is the first, or does not wait. */
    std::optional<VXOutboxEntry> firstBefore(const VXOutboxEntry &entry) const
    {
        const auto found = _first.find({entry.kind, entry.destination});
        const bool isBefore =
            entry.state == VXOutboxState::Queued && found != _first.end() && found->second.number < entry.number;
        return isBefore ? std::optional(found->second) : std::nullopt;
    }

private:
    std::map<std::pair<QString, QString>, VXOutboxEntry> _first; // by kind and destination
};

/** Entries that were requested, until the next try of each has ended. */
class AwaitedTries
{
public:
    AwaitedTries(const VXOutbox &outbox, const Entries &asked) : _outbox(outbox), _awaited(asked.begin(), asked.end())
    {
    }

    /** None, with an error, if they cannot be read. */
    std::optional<Entries> wait(VXError *error)
    {
        QTimer tick; // another process may be sending
        tick.start(std::chrono::milliseconds(200));
        bool hasTicked = true;
        QObject::connect(&tick, &QTimer::timeout, &tick, [&] { hasTicked = true; });
        while (pass(std::exchange(hasTicked, false), error)) {
            if (_awaited.empty())
                return _ended;
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return std::nullopt;
    }

private:
    // They end approximately in order, so the first one is checked; what waits before it only now and then.
    bool pass(bool looksAtAll, VXError *error)
    {
        if (looksAtAll)
            _predecessors.reset();
        while (!_awaited.empty()) {
            const std::optional<VXOutboxEntry> entry = _outbox.entry(_awaited.front().number, error);
            if (!entry && *error)
                return false;
            if (entry && !isEnded(*entry, _awaited.front()))
                return true;
            if (entry) // otherwise it was dropped in the meantime
                _ended.append(*entry);
            _awaited.pop_front();
        }
        return true;
    }
    bool isEnded(const VXOutboxEntry &now, const VXOutboxEntry &before)
    {
        if (now.state != VXOutboxState::Queued || now.attempts != before.attempts)
            return now.state != VXOutboxState::Sending;
        if (!_predecessors)
            _predecessors.emplace(_outbox, _awaited);
        const auto first = _predecessors->firstBefore(now);
        return first && first->nextDate > QDateTime::currentDateTimeUtc();
    }

    const VXOutbox &_outbox;
    std::deque<VXOutboxEntry> _awaited; // in their original state
    Entries _ended;
    std::optional<Predecessors> _predecessors; // may be a little out of date
};

QString idOf(const VXOutboxEntry &entry)
{
    return u'p' + QString::number(entry.number);
}

// Phones are shown by name: people ignore the rest of the URL.
QString shownDestination(const VXOutboxEntry &entry)
{
    const QUrl url(entry.destination);
    const QUrl device = url.scheme() == VXDeviceURLScheme ? VXGetDeviceURLFromURL(url) : QUrl();
    const QString name = device.isEmpty() ? QString() : VXDeviceNameAtURL().transformedValue(device).toString();
    return name.isEmpty() ? VXTextWithoutPasswords(entry.destination) : name;
}

QString stateText(const VXOutboxEntry &entry, const std::optional<VXOutboxEntry> &before)
{
    if (before)
        return u"queued behind "_s + idOf(*before);
    if (entry.state == VXOutboxState::Queued && entry.attempts > 0 && entry.nextDate > QDateTime::currentDateTimeUtc())
        return u"queued until "_s + VXShownDate(entry.nextDate);
    if (entry.state == VXOutboxState::Queued && entry.attempts > 0)
        return u"queued, due"_s;
    return VXOutboxStateName(entry.state);
}

QJsonObject jsonOf(const VXOutboxEntry &entry, const std::optional<VXOutboxEntry> &before)
{
    return {{u"id"_s, idOf(entry)},
            {u"behind"_s, before ? QJsonValue(idOf(*before)) : QJsonValue()},
            {u"kind"_s, entry.kind},
            {u"destination"_s, VXTextWithoutPasswords(entry.destination)},
            {u"title"_s, entry.title},
            {u"state"_s, VXOutboxStateName(entry.state)},
            {u"problem"_s, VXJSONFromVariant(VXValueWithoutPasswords(entry.problem))},
            {u"attempts"_s, entry.attempts},
            {u"created"_s, VXReportedDate(entry.createdDate)},
            {u"next"_s, VXReportedDate(entry.nextDate)},
            {u"finished"_s, VXReportedDate(entry.finishedDate)},
            {u"payload"_s, VXJSONFromVariant(VXValueWithoutPasswords(entry.payload))}};
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
        rows.append({idOf(entry), VXShownDate(entry.createdDate), entry.title, shownDestination(entry),
                     QString::number(entry.attempts), stateText(entry, before), VXTextWithoutPasswords(entry.problem)});
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
    const std::optional<Entries> now = AwaitedTries(outbox, asked).wait(&error);
    if (!now)
        return context.output.fail(error.localizedDescription());
    const bool areSent =
        std::ranges::all_of(*now, [](const VXOutboxEntry &e) { return e.state == VXOutboxState::Sent; });
    if (std::ranges::any_of(*now, [](const VXOutboxEntry &e) { return e.state == VXOutboxState::Queued; }))
        context.output.note(
            u"What is queued is kept, and sent once that works while \"vornix run\" runs; \"vornix outbox "
            "retry all\" tries again now."_s);
    return VXAnswerOutboxEntries(context, outbox, *now, areSent ? VXHostOutput::Done : VXHostOutput::Failed);
}
