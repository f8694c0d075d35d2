#include "VXHistoryText.h"

#include "VXDateText.h"
#include "VXDesktopText.h"
#include "VXEventHistory.h"
#include "VXEventManager.h"
#include "VXMessageText.h"
#include "VXPluginManager.h"
#include "VXRowDelegate.h"
#include "VXTriggerTrial.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using TriggerOutcome = VXTriggerRecord::Outcome;
using ReactionOutcome = VXReactionRecord::Outcome;

namespace {

constexpr int mostTrials = 12;

QString nameOfReactor(const QString &identifier)
{
    const VXPluginProxy *const proxy = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier);
    return proxy == nullptr ? identifier : proxy->name();
}

QString nameOfTrigger(const VXTriggerRecord &trigger)
{
    return trigger.name.isEmpty() ? VXText("An automation without a name") : u"“%1”"_s.arg(trigger.name);
}

QString reasonOf(const VXTriggerRecord &trigger)
{
    switch (trigger.outcome) {
    case TriggerOutcome::Ran:
        return trigger.filter.isNull() ? VXText("ran") : VXText("ran, for its condition held: %1").arg(trigger.filter);
    case TriggerOutcome::Rejected:
        return trigger.problem.isNull() ? VXText("did not run, for its condition did not hold: %1").arg(trigger.filter)
                                        : VXText("did not run: %1").arg(trigger.problem);
    case TriggerOutcome::Disabled:
        return VXText("did not run, for it is turned off");
    case TriggerOutcome::Broken:
        return VXText("did not run, for its condition does not work: %1").arg(trigger.problem);
    }
    return {};
}

QString outcomeOf(const VXReactionRecord &reaction)
{
    switch (reaction.outcome) {
    case ReactionOutcome::Done:
        return VXText("done");
    case ReactionOutcome::Failed:
        return VXText("failed: %1").arg(reaction.problems.join("; "_L1));
    case ReactionOutcome::Running:
        return VXText("goes on, or was cut off");
    case ReactionOutcome::Missing:
        return VXText("is not installed, or turned off");
    }
    return {};
}

} // namespace

QString VXTitleOfEvent(const VXEventRecord &record)
{
    const QString name = VXEventManager::sharedEventManager().localizedNameForEventName(record.name);
    const QString title = name.isEmpty() ? record.name : name;
    if (record.subtype.isNull())
        return title;
    static const QHash<QString, const char *> words{
        {u"ringing"_s, "ringing"}, {u"connected"_s, "taken"}, {u"ended"_s, "ended"}};
    return title + u", "_s + (words.contains(record.subtype) ? VXText(words.value(record.subtype)) : record.subtype);
}

VXListRow VXRowOfEvent(const VXEventRecord &record)
{
    const auto ran = std::ranges::count(record.triggers, TriggerOutcome::Ran, &VXTriggerRecord::outcome);
    VXRowContents contents;
    contents.title = VXTitleOfEvent(record);
    contents.icon = u"bolt"_s;
    const QString who = VXNamesOf(record.who);
    const QString came = record.isFailure()          ? VXText("Something failed")
                         : ran > 0                   ? VXText("%1 automation ran", "%1 automations ran", ran)
                         : record.triggers.isEmpty() ? VXText("Nothing listens to it")
                                                     : VXText("Skipped");
    contents.iconTone = record.isFailure() ? VXRowContents::Tone::Bad
                        : ran > 0          ? VXRowContents::Tone::Good
                                           : VXRowContents::Tone::Plain;
    contents.detail = who.isEmpty() ? came : u"%1 · %2"_s.arg(who, came);
    contents.when = VXTextOfDate(record.date, VXDateStyle::Short);
    contents.data = record.identifier;
    return {.text = QStringList{contents.title, contents.detail, VXTextOfDate(record.date)}.join(", "_L1),
            .value = QVariant::fromValue(contents)};
}

QStringList VXWhyOfEvent(const VXEventRecord &record)
{
    QStringList lines;
    if (!record.problem.isNull())
        lines.append(record.problem);
    for (const VXTriggerRecord &trigger : record.triggers) {
        lines.append(u"• %1 %2"_s.arg(nameOfTrigger(trigger), reasonOf(trigger)));
        for (const VXReactionRecord &reaction : trigger.reactions)
            lines.append(u"    %1: %2"_s.arg(nameOfReactor(reaction.identifier), outcomeOf(reaction)));
    }
    if (record.omittedTriggers > 0)
        lines.append(VXText("%1 more did not run.", "%1 more did not run.", record.omittedTriggers));
    if (lines.isEmpty())
        lines.append(VXText("No automation listens to this event."));
    return lines;
}

QStringList VXLinesOfTrials(const VXTrigger &trigger)
{
    const QList<VXEventRecord> records = VXEventHistory::sharedEventHistory().records();
    QStringList lines;
    for (auto record = records.crbegin(); record != records.crend() && lines.size() < mostTrials; ++record) {
        if (record->name != trigger.eventName() || record->object.isEmpty())
            continue;
        const VXTriggerTrial trial = VXTriggerTrial::of(trigger, QVariant(record->object));
        const QString who = VXTitleOfEvent(*record) + (record->who.isEmpty() ? QString() : u" · "_s + record->who);
        lines.append(u"%1  %2, %3"_s.arg(trial.passes ? u"✓"_s : u"✗"_s, VXTextOfDate(record->date), who) +
                     (trial.passes              ? QString()
                      : trial.problem.isEmpty() ? u": "_s + VXText("does not fit")
                                                : u": "_s + trial.problem));
    }
    return lines;
}
