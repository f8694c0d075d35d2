#include "VXEventArguments.h"
#include "VXEventHistory.h"
#include "VXEventReport.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXObjectNames.h"
#include "VXPluginSession.h"
#include "VXShownDate.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>

#include <algorithm>
#include <climits>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QStringList columnsOf(const VXEventRecord &record)
{
    return {record.identifier, VXShownDate(record.date), VXEventTitle(record), record.who, VXEventOutcome(record)};
}

QString textWithReasons(const QList<VXEventRecord> &records)
{
    QString text;
    for (const VXEventRecord &record : records) {
        text += columnsOf(record).join("  "_L1) + u'\n';
        for (const QString &line : VXEventReasons(record))
            text += "    "_L1 + line + u'\n';
    }
    return text;
}

int list(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const int most = options.isSet(u"last"_s) ? options.value(u"last"_s).toInt() : INT_MAX;
    QList<VXEventRecord> records = VXEventHistory::sharedEventHistory().records();
    records.removeIf([&](const VXEventRecord &record) {
        return (options.isSet(u"event"_s) && record.name != options.value(u"event"_s)) ||
               (options.isSet(u"failures"_s) && !record.isFailure());
    });
    if (records.size() > most)
        records.remove(0, records.size() - most);
    if (context.output.isJSON()) {
        QJsonArray json;
        for (const VXEventRecord &record : std::as_const(records))
            json.append(record.json());
        context.output.answer(QString(), json);
        return VXHostOutput::Done;
    }
    QList<QStringList> rows{{u"ID"_s, u"DATE"_s, u"EVENT"_s, u"WHO"_s, u"OUTCOME"_s}};
    std::ranges::transform(records, std::back_inserter(rows), columnsOf);
    const bool withReasons = options.isSet(u"why"_s);
    context.output.answer(records.isEmpty() ? u"There are no such events.\n"_s
                          : withReasons     ? textWithReasons(records)
                                            : VXFittingTable(context.output, rows, {u"DATE"_s, u"WHO"_s}),
                          {});
    return VXHostOutput::Done;
}

int replay(VXHostContext &context, const VXEventRecord &past)
{
    VXPluginObject stored;
    QVariant object = past.object.isEmpty() ? QVariant() : QVariant(past.object);
    if (!past.objectURI.isNull()) {
        QString problem;
        stored = VXPluginObject::named(past.objectURI, &problem);
        if (!stored.object)
            return context.output.fail(problem);
        object = QVariant::fromValue(stored.object);
    }
    const VXEventRecord record = VXPostAndAwait({past.name, past.subtype, object});
    return VXReportEvent(context, record, true);
}

int runReplay(VXHostContext &context)
{
    const QString identifier = context.options.operand(1);
    const VXEventHistory &history = VXEventHistory::sharedEventHistory();
    const auto past = history.recordWithIdentifier(identifier);
    if (!past) {
        const qsizetype count = std::ranges::count_if(
            history.records(), [&](const VXEventRecord &record) { return record.identifier.endsWith(identifier); });
        return context.output.fail(
            count > 1 ? u"the history has %1 events whose IDs end in \"%2\""_s.arg(count).arg(identifier)
                      : u"the history has no event \"%1\"; \"vornix history\" shows those there are"_s.arg(identifier));
    }
    if (!past->isRepeatable())
        return context.output.fail(
            u"the event cannot be posted again: its object, a %1, was not kept"_s.arg(past->objectClass));
    return VXRunWithPlugins(context, [&](VXPluginManager &) { return replay(context, *past); });
}

} // namespace

VXHostCommand VXHistoryCommand()
{
    return {
        .name = u"history"_s,
        .summary = u"Show what came of events, and post one again"_s,
        .details =
            u"\"list\" shows the last events, oldest first: which triggers there were, and how their reactors "
            "fared. Events in which something failed are kept longest. \"replay ID\" posts an event again, with the "
            "same object; the end of the ID is enough. The user default \"events.history\" turns the history off."_s,
        .options = {{u"event"_s, u"EVENT"_s, u"Only events of that name"_s, {}, {u"list"_s}},
                    {u"failures"_s, {}, u"Only those in which something failed"_s, {}, {u"list"_s}},
                    {.name = u"last"_s,
                     .placeholder = u"N"_s,
                     .summary = u"Only the last N"_s,
                     .verbs = {u"list"_s},
                     .minimum = 1},
                    {u"why"_s, {}, u"Tell why each trigger did or did not run"_s, {}, {u"list"_s}}},
        .verbs = {{u"list"_s}, {u"replay"_s, u"ID"_s, 1, 1}},
        .run = [](VXHostContext &context) {
            return context.options.verb() == "list"_L1 ? list(context) : runReplay(context);
        }};
}
