#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXOutboxRunner.h"
#include "VXPluginSession.h"
#include "VXTextTable.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Entries = QList<VXOutboxEntry>;

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

int answer(VXHostContext &context, const Entries &entries, int status = VXHostOutput::Done)
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

// The entries that the operand names: "p12" or "12", or "all" of those that the verb can do something with.
std::optional<Entries> chosen(VXHostContext &context, const VXOutbox &outbox, bool isRetry)
{
    const QString operand = context.options.operand(1);
    VXError error;
    const std::optional<Entries> all = outbox.entries({}, &error);
    if (!all) {
        context.output.fail(error.localizedDescription());
        return std::nullopt;
    }
    Entries found;
    for (const VXOutboxEntry &entry : *all) {
        const bool isNamed =
            operand == QString::number(entry.number) || operand == u'p' + QString::number(entry.number);
        const bool isOpen = entry.state != VXOutboxState::Sending && !(isRetry && entry.state == VXOutboxState::Sent);
        if (isNamed || (operand == "all"_L1 && isOpen))
            found.append(entry);
    }
    if (!found.isEmpty() || operand == "all"_L1)
        return found;
    context.output.fail(u"there is no entry \"%1\"; \"vornix outbox list\" shows those there are"_s.arg(operand));
    return std::nullopt;
}

int list(VXHostContext &context, const VXOutbox &outbox)
{
    VXError error;
    const std::optional<Entries> entries = outbox.entries({}, &error);
    return entries ? answer(context, *entries) : context.output.fail(error.localizedDescription());
}

int drop(VXHostContext &context, const VXOutbox &outbox)
{
    const std::optional<Entries> entries = chosen(context, outbox, false);
    if (!entries)
        return VXHostOutput::Failed;
    for (const VXOutboxEntry &entry : *entries) {
        VXError error;
        if (!outbox.drop(entry.number, &error))
            return context.output.fail(u"p%1: %2"_s.arg(entry.number).arg(error.localizedDescription()));
    }
    context.output.answer(u"Dropped %1.\n"_s.arg(entries->size()), QJsonObject{{u"dropped"_s, entries->size()}});
    return VXHostOutput::Done;
}

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

int retry(VXHostContext &context, const VXOutbox &outbox)
{
    const std::optional<Entries> entries = chosen(context, outbox, true);
    if (!entries)
        return VXHostOutput::Failed;
    for (const VXOutboxEntry &entry : *entries) {
        if (!VXOutboxRunner::isServed(entry.kind))
            return context.output.fail(u"no plugin sends entries of the kind \"%1\""_s.arg(entry.kind));
    }
    for (const VXOutboxEntry &entry : *entries) {
        VXError error;
        if (!outbox.retry(entry.number, &error))
            return context.output.fail(u"p%1: %2"_s.arg(entry.number).arg(error.localizedDescription()));
    }
    VXError error;
    const std::optional<Entries> now = waitForTries(outbox, *entries, &error);
    if (!now)
        return context.output.fail(error.localizedDescription());
    const bool areSent =
        std::ranges::all_of(*now, [](const VXOutboxEntry &e) { return e.state == VXOutboxState::Sent; });
    return answer(context, *now, areSent ? VXHostOutput::Done : VXHostOutput::Failed);
}

int runOutbox(VXHostContext &context)
{
    const QString verb = context.options.operands().value(0, u"list"_s);
    const QString usage = VXHostUsage(context.options.command());
    if (verb != "list"_L1 && context.options.operand(1).isEmpty())
        return context.output.failUsage(u"%1 needs ID"_s.arg(verb), usage);
    if (verb == "list"_L1 && !context.options.operand(1).isNull())
        return context.output.failUsage(u"list takes nothing more"_s, usage);
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox();
        if (!outbox)
            return context.output.fail(u"there is no outbox; \"vornix log\" may tell why"_s);
        VXOutboxRunner::settleInterrupted(*outbox);
        return verb == "list"_L1    ? list(context, *outbox)
               : verb == "retry"_L1 ? retry(context, *outbox)
                                    : drop(context, *outbox);
    });
}

} // namespace

VXHostCommand VXOutboxCommand()
{
    return {.name = u"outbox"_s,
            .summary = u"Show and change what is to be sent"_s,
            .synopsis = u"[list|retry|drop] [ID|all]"_s,
            .details =
                u"\"list\" shows what waits to be sent, and what came of the rest. \"retry ID\" sends an entry now, "
                "whatever it waits for, also one that was refused or is perhaps sent. \"drop ID\" forgets one."_s,
            .minimumOperands = 0,
            .maximumOperands = 2,
            .firstOperands = {u"list"_s, u"retry"_s, u"drop"_s},
            .run = runOutbox};
}
