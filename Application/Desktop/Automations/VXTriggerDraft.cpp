#include "VXTriggerDraft.h"

#include "VXUserDefaults.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString prefix = u"desktop.drafts.automation."_s;
const QString newPrefix = u"new"_s;
const QString beforeKey = u"before"_s;
const QString afterKey = u"after"_s;
const QString nameKey = u"name"_s;
const QString eventKey = u"event"_s;
const QString filterKey = u"filter"_s;
const QString enabledKey = u"isEnabled"_s;
const QString reactionsKey = u"reactions"_s;
const QString identifierKey = u"identifier"_s;
const QString optionsKey = u"options"_s;

bool isSame(const QList<VXTriggerChange::Reaction> &one, const QList<VXTriggerChange::Reaction> &other)
{
    return std::ranges::equal(one, other, [](const auto &a, const auto &b) {
        return a.identifier == b.identifier && a.options == b.options;
    });
}

// A property list holds no null.
QString textOf(const QString &text)
{
    return text.isNull() ? u""_s : text;
}

QVariantMap mapOf(const VXTriggerDraft &draft)
{
    QVariantList reactions;
    for (const VXTriggerChange::Reaction &reaction : draft.reactions)
        reactions.append(QVariantMap{{identifierKey, reaction.identifier}, {optionsKey, reaction.options}});
    return {{nameKey, textOf(draft.name)},
            {eventKey, textOf(draft.event)},
            {filterKey, textOf(draft.filter)},
            {enabledKey, draft.isEnabled},
            {reactionsKey, reactions}};
}

VXTriggerDraft draftOf(const QVariantMap &map)
{
    VXTriggerDraft draft{map.value(nameKey).toString(),
                         map.value(eventKey).toString(),
                         map.value(filterKey).toString(),
                         map.value(enabledKey).toBool(),
                         {}};
    for (const QVariant &each : map.value(reactionsKey).toList()) {
        const QVariantMap reaction = each.toMap();
        draft.reactions.append({reaction.value(identifierKey).toString(), reaction.value(optionsKey).toMap()});
    }
    return draft;
}

} // namespace

VXTriggerDraft VXTriggerDraft::of(const VXTrigger &trigger)
{
    VXTriggerDraft draft{trigger.userName(), trigger.eventName(), {}, trigger.isEnabled(), {}};
    if (const auto filter = trigger.filter())
        draft.filter = filter->predicateFormat();
    for (const VXReaction &reaction : trigger.reactions())
        draft.reactions.append({reaction.bundleIdentifier(), reaction.userOptions()});
    return draft;
}

VXTrigger VXTriggerWithID(const VXTriggerStore &store, const QString &shortID)
{
    return shortID.isNull() || VXUnsavedTrigger::isNew(shortID) ? VXTrigger() : store.triggerWithID(shortID);
}

std::optional<VXTriggerDraft> VXTriggerDraft::stored(const QString &shortID)
{
    const auto store = VXTriggerStore::open();
    const VXTrigger trigger = store ? VXTriggerWithID(*store, shortID) : VXTrigger();
    return trigger.isNull() ? std::nullopt : std::optional(of(trigger));
}

bool VXTriggerDraft::operator==(const VXTriggerDraft &other) const
{
    return name == other.name && event == other.event && filter == other.filter && isEnabled == other.isEnabled &&
           isSame(reactions, other.reactions);
}

VXTriggerChange VXTriggerDraft::change() const
{
    return {.event = event, .name = name, .filter = filter, .isEnabled = isEnabled, .reactions = reactions};
}

VXTriggerChange VXTriggerDraft::changeSince(const VXTriggerDraft &before) const
{
    VXTriggerChange change;
    if (event != before.event)
        change.event = event;
    if (name != before.name)
        change.name = name;
    if (filter != before.filter)
        change.filter = filter;
    if (isEnabled != before.isEnabled)
        change.isEnabled = isEnabled;
    if (!isSame(reactions, before.reactions))
        change.reactions = reactions;
    return change;
}

VXTriggerDraft VXTriggerDraft::appliedTo(const VXTriggerDraft &now, const VXTriggerDraft &before) const
{
    const VXTriggerChange change = changeSince(before);
    return {change.name.value_or(now.name), change.event.value_or(now.event), change.filter.value_or(now.filter),
            change.isEnabled.value_or(now.isEnabled), change.reactions.value_or(now.reactions)};
}

QStringList VXUnsavedTrigger::identifiers()
{
    QStringList identifiers = VXUserDefaults::standardUserDefaults().keysWithPrefix(prefix);
    for (QString &each : identifiers)
        each.remove(0, prefix.size());
    return identifiers;
}

bool VXUnsavedTrigger::isNew(const QString &shortID)
{
    return shortID.startsWith(newPrefix);
}

QString VXUnsavedTrigger::unusedID()
{
    const QStringList used = identifiers();
    int number = 1;
    while (used.contains(newPrefix + QString::number(number)))
        ++number;
    return newPrefix + QString::number(number);
}

std::optional<VXUnsavedTrigger> VXUnsavedTrigger::read(const QString &shortID)
{
    const QVariantMap kept = VXUserDefaults::standardUserDefaults().dictionaryForKey(prefix + shortID);
    if (kept.isEmpty())
        return std::nullopt;
    return VXUnsavedTrigger{draftOf(kept.value(beforeKey).toMap()), draftOf(kept.value(afterKey).toMap())};
}

void VXUnsavedTrigger::drop(const QString &shortID)
{
    VXUserDefaults::standardUserDefaults().removeObjectForKey(prefix + shortID);
}

void VXUnsavedTrigger::keep(const QString &shortID) const
{
    VXUserDefaults::standardUserDefaults().setObject(QVariantMap{{beforeKey, mapOf(before)}, {afterKey, mapOf(after)}},
                                                     prefix + shortID);
}
