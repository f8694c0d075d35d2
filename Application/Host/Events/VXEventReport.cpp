#include "VXEventReport.h"

#include "VXHostOutput.h"
#include "VXPluginManager.h"
#include "VXPluginProxy.h"
#include "VXShownText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using TriggerOutcome = VXTriggerRecord::Outcome;
using ReactionOutcome = VXReactionRecord::Outcome;

QString triggersText(qsizetype count)
{
    return count == 1 ? VXShownText(u"1 trigger"_s) : VXShownText(u"%1 triggers"_s).arg(count);
}

QString reactorsText(qsizetype count)
{
    return count == 1 ? VXShownText(u"1 reactor"_s) : VXShownText(u"%1 reactors"_s).arg(count);
}

QString triggerTitle(const VXTriggerRecord &trigger)
{
    const QString shortID = trigger.uri.section(u'/', -1);
    return trigger.name.isEmpty() ? VXShownText(u"Trigger %1"_s).arg(shortID)
                                  : VXShownText(u"Trigger %1 \"%2\""_s).arg(shortID, trigger.name);
}

QString reasonOf(const VXTriggerRecord &trigger)
{
    const QString filter = trigger.filter.isNull() ? QString() : " "_L1 + trigger.filter;
    const QString problem = trigger.problem.isNull() ? QString() : ": "_L1 + trigger.problem;
    switch (trigger.outcome) {
    case TriggerOutcome::Ran:
        return filter.isNull() ? VXShownText(u"ran"_s)
                               : VXShownText(u"ran, for the object passed its filter"_s) + filter;
    case TriggerOutcome::Rejected:
        return VXShownText(u"did not run, for the object did not pass its filter"_s) + filter + problem;
    case TriggerOutcome::Disabled:
        return VXShownText(u"did not run, for it is disabled"_s);
    case TriggerOutcome::Broken:
        return VXShownText(u"did not run, for its filter%1 does not work"_s).arg(filter) + problem;
    }
    return {};
}

// Why a reactor did not run, according to the present state.
QString absenceOf(const QString &identifier)
{
    const VXPluginProxy *const plugin = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier);
    return plugin != nullptr && plugin->isInstalled() && !plugin->isEnabled()
               ? VXShownText(u"is disabled; \"vornix plugins enable %1\" enables it"_s).arg(identifier)
               : VXShownText(u"is not installed, or not enabled"_s);
}

QString outcomeOf(const VXReactionRecord &reaction)
{
    switch (reaction.outcome) {
    case ReactionOutcome::Done:
        return VXShownText(u"done in %1 ms"_s).arg(reaction.milliseconds, 0, 'f', 1) +
               (reaction.remark.isNull() ? QString() : ": "_L1 + reaction.remark);
    case ReactionOutcome::Failed:
        return VXShownText(u"failed after %1 ms: %2"_s)
            .arg(reaction.milliseconds, 0, 'f', 1)
            .arg(reaction.problems.join("; "_L1));
    case ReactionOutcome::Running:
        return VXShownText(u"goes on, or was cut off with the process that posted the event"_s);
    case ReactionOutcome::Missing:
        return absenceOf(reaction.identifier);
    }
    return {};
}

} // namespace

QString VXEventTitle(const VXEventRecord &record)
{
    return record.subtype.isNull() ? record.name : record.name + "::"_L1 + record.subtype;
}

QString VXEventOutcome(const VXEventRecord &record)
{
    if (!record.problem.isNull())
        return record.problem;
    const qsizetype triggers = record.triggers.size() + record.omittedTriggers;
    if (triggers == 0)
        return VXShownText(u"no triggers"_s);
    const qsizetype ran = std::ranges::count(record.triggers, TriggerOutcome::Ran, &VXTriggerRecord::outcome);
    const qsizetype broken = std::ranges::count(record.triggers, TriggerOutcome::Broken, &VXTriggerRecord::outcome);
    qsizetype reactors = 0;
    qsizetype failed = 0;
    qsizetype running = 0;
    for (const VXTriggerRecord &trigger : record.triggers) {
        reactors += trigger.reactions.size();
        running += std::ranges::count(trigger.reactions, ReactionOutcome::Running, &VXReactionRecord::outcome);
        failed += std::ranges::count_if(trigger.reactions, [](const VXReactionRecord &reaction) {
            return reaction.outcome == ReactionOutcome::Failed || reaction.outcome == ReactionOutcome::Missing;
        });
    }
    QString outcome = VXShownText(u"%1 of %2 ran"_s).arg(ran).arg(triggersText(triggers));
    if (broken > 0)
        outcome += VXShownText(u", %1 with a filter that does not work"_s).arg(broken);
    if (running > 0)
        outcome += VXShownText(u", %1 unfinished"_s).arg(reactorsText(running));
    if (failed > 0)
        return outcome + VXShownText(u", %1 of %2 failed"_s).arg(failed).arg(reactorsText(reactors));
    return running == reactors && running > 0 ? outcome : outcome + ", "_L1 + reactorsText(reactors);
}

QStringList VXEventReasons(const VXEventRecord &record)
{
    QStringList lines;
    if (!record.problem.isNull())
        lines.append(record.problem);
    for (const VXTriggerRecord &trigger : record.triggers) {
        lines.append(triggerTitle(trigger) + ' '_L1 + reasonOf(trigger));
        for (const VXReactionRecord &reaction : trigger.reactions)
            lines.append(u"  %1 %2"_s.arg(reaction.identifier, outcomeOf(reaction)));
    }
    if (record.omittedTriggers > 0)
        lines.append(VXShownText(u"%1 more did not run"_s).arg(triggersText(record.omittedTriggers)));
    if (lines.isEmpty())
        lines.append(VXShownText(u"No trigger listens to this event."_s));
    return lines;
}

int VXReportEvent(VXHostContext &context, const VXEventRecord &record, bool withReasons)
{
    QStringList lines{VXEventTitle(record) + ": "_L1 + VXEventOutcome(record)};
    if (withReasons)
        lines += VXEventReasons(record);
    context.output.answer(lines.join(u'\n') + u'\n', record.json());
    if (record.isFailure() && !withReasons)
        context.output.note(u"\"vornix history --why --last 1\" tells why"_s);
    return record.isFailure() ? VXHostOutput::Failed : VXHostOutput::Done;
}
