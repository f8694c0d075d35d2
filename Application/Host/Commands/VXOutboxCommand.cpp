#include "VXHostCommands.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXOutboxReport.h"
#include "VXOutboxRunner.h"
#include "VXPluginSession.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Entries = QList<VXOutboxEntry>;

// If a message has perhaps been sent, it is sent again only if it is named explicitly: whoever just wants to say "the
// phone is back" sends no duplicates.
bool isMeantByAll(const VXOutboxEntry &entry, bool isRetry)
{
    if (entry.state == VXOutboxState::Sending)
        return false;
    return !isRetry || entry.state == VXOutboxState::Queued || entry.state == VXOutboxState::Failed;
}

// The entries that the operand names: "p12" or "12", or "all" to which the verb applies.
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
        if (isNamed || (operand == "all"_L1 && isMeantByAll(entry, isRetry)))
            found.append(entry);
    }
    const auto left = std::ranges::count(*all, VXOutboxState::PerhapsSent, &VXOutboxEntry::state);
    if (operand == "all"_L1 && isRetry && left > 0)
        context.output.note(
            u"left alone, for nobody knows whether they arrived: %1; \"vornix outbox retry ID\" sends one "
            "again"_s.arg(left));
    if (!found.isEmpty() || operand == "all"_L1)
        return found;
    context.output.fail(u"there is no entry \"%1\"; \"vornix outbox list\" shows those there are"_s.arg(operand));
    return std::nullopt;
}

int list(VXHostContext &context, const VXOutbox &outbox)
{
    VXError error;
    const std::optional<Entries> entries = outbox.entries({}, &error);
    return entries ? VXAnswerOutboxEntries(context, outbox, *entries)
                   : context.output.fail(error.localizedDescription());
}

QList<qint64> numbersOf(const Entries &entries)
{
    QList<qint64> numbers;
    for (const VXOutboxEntry &entry : entries)
        numbers.append(entry.number);
    return numbers;
}

// Reports why something could not be done to some of the entries. False, with the command failed, if it was the only
// one.
bool answerRefusals(VXHostContext &context, const std::optional<VXOutbox::Refusals> &refusals, const VXError &error,
                    const Entries &entries)
{
    if (!refusals) {
        context.output.fail(error.localizedDescription());
        return false;
    }
    for (const auto &[number, refusal] : refusals->asKeyValueRange()) {
        const QString reason = u"p%1: %2"_s.arg(number).arg(refusal.localizedDescription());
        if (entries.size() == 1) {
            context.output.fail(reason);
            return false;
        }
        context.output.note(reason); // sent or dropped in the meantime
    }
    return true;
}

int drop(VXHostContext &context, const VXOutbox &outbox)
{
    const std::optional<Entries> entries = chosen(context, outbox, false);
    if (!entries)
        return VXHostOutput::Failed;
    VXError error;
    const auto refusals = outbox.dropAll(numbersOf(*entries), &error);
    if (!answerRefusals(context, refusals, error, *entries))
        return VXHostOutput::Failed;
    const qsizetype count = entries->size() - refusals->size();
    context.output.answer(u"Dropped %1.\n"_s.arg(count), QJsonObject{{u"dropped"_s, count}});
    return VXHostOutput::Done;
}

int retry(VXHostContext &context, const VXOutbox &outbox)
{
    const std::optional<Entries> entries = chosen(context, outbox, true);
    if (!entries)
        return VXHostOutput::Failed;
    if (entries->isEmpty()) {
        context.output.answer(u"Nothing was tried.\n"_s, QJsonArray());
        return VXHostOutput::Done;
    }
    for (const VXOutboxEntry &entry : *entries) {
        if (!VXOutboxRunner::isServed(entry.kind))
            return context.output.fail(u"no plugin sends entries of the kind \"%1\""_s.arg(entry.kind));
    }
    VXError error;
    const auto refusals = outbox.retryAll(numbersOf(*entries), &error);
    return answerRefusals(context, refusals, error, *entries) ? VXAnswerTries(context, outbox, *entries)
                                                              : VXHostOutput::Failed;
}

struct Verb : VXHostVerb
{
    int (*run)(VXHostContext &context, const VXOutbox &outbox);
};

const Verb verbs[] = {
    {{u"list"_s}, list},
    {{u"retry"_s, u"ID|all"_s, 1, 1}, retry},
    {{u"drop"_s, u"ID|all"_s, 1, 1}, drop},
};

int runOutbox(VXHostContext &context)
{
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox();
        if (!outbox)
            return context.output.fail(u"there is no outbox; \"vornix log\" may tell why"_s);
        VXOutboxRunner::settleInterrupted(*outbox);
        return context.options.verbIn(verbs).run(context, *outbox);
    });
}

} // namespace

VXHostCommand VXOutboxCommand()
{
    return {
        .name = u"outbox"_s,
        .summary = u"Show and change what is to be sent"_s,
        .details =
            u"\"list\" shows what waits to be sent, and what came of the rest. \"retry ID\" sends an entry now, also "
            "one that was refused or is perhaps sent; what waits before it for the same destination is tried first, "
            "and while that cannot be sent the entry waits behind it. \"drop ID\" forgets one, also one that still "
            "waits.\n\"retry all\" means what waits or failed, not what is perhaps sent; \"drop all\" forgets "
            "everything that is not being sent at the moment, without a question."_s,
        .verbs = VXHostVerbsOf(verbs),
        .run = runOutbox};
}
