#include "VXTriggerReport.h"

#include "VXHostJSON.h"
#include "VXPluginManager.h"
#include "VXPluginReport.h"
#include "VXShownText.h"
#include "VXTextTable.h"
#include "VXTextWithoutPasswords.h"
#include "VXTriggerStore.h"
#include "VXTriggerTrial.h"

#include <QtCore/QJsonArray>
#include <QtCore/QUrl>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

QJsonObject jsonOf(const VXReaction &reaction)
{
    return {{u"reactor"_s, reaction.bundleIdentifier()},
            {u"options"_s, VXJSONFromVariant(VXValueWithoutPasswords(reaction.userOptions()))},
            {u"problem"_s, VXJSONFromVariant(reaction.problem())}};
}

// The last part of its identifier, unless another plugin has the same; with what prevents it from running.
QString shownReactor(const VXReaction &reaction)
{
    const QString identifier = reaction.bundleIdentifier();
    const QString name = identifier.section(u'.', -1);
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    const QString shown = VXPluginsCalled(manager.allPlugins(), name).size() > 1 ? identifier : name;
    const QString problem = reaction.problem();
    return problem.isNull() ? shown : u"%1 (%2)"_s.arg(shown, problem);
}

QString valueText(const QVariant &value)
{
    return value.typeId() == QMetaType::QString ? value.toString()
                                                : QString::fromUtf8(VXJSONText(VXJSONFromVariant(value)));
}

} // namespace

QJsonObject VXTriggerReport::json() const
{
    QJsonArray reactions;
    for (const VXReaction &reaction : _trigger.reactions())
        reactions.append(jsonOf(reaction));
    const QString filter = _trigger.filterText();
    const QString name = _trigger.userName();
    return {{u"id"_s, _trigger.shortID()},
            {u"uri"_s, _trigger.record()->objectID().uriRepresentation().toString()},
            {u"event"_s, _trigger.eventName()},
            {u"name"_s, VXJSONFromVariant(name)},
            {u"enabled"_s, _trigger.isEnabled()},
            {u"filter"_s, VXJSONFromVariant(filter)},
            {u"reactors"_s, reactions}};
}

QStringList VXTriggerReport::columnTitles()
{
    return {u"ID"_s, u"STATE"_s, u"EVENT"_s, u"NAME"_s, u"REACTORS"_s, u"FILTER"_s};
}

QStringList VXTriggerReport::columns() const
{
    QStringList reactors;
    for (const VXReaction &reaction : _trigger.reactions())
        reactors.append(shownReactor(reaction));
    return {_trigger.shortID(),     _trigger.isEnabled() ? u"enabled"_s : u"disabled"_s,
            _trigger.eventName(),   _trigger.userName(),
            reactors.join(", "_L1), _trigger.filterText()};
}

QStringList VXTriggerReport::lines() const
{
    const QString filter = _trigger.filterText();
    const QString state = _trigger.isEnabled() ? VXShownText(u"enabled"_s) : VXShownText(u"disabled"_s);
    QList<QStringList> rows{{u"Event"_s, _trigger.eventName()}};
    if (!_trigger.userName().isEmpty())
        rows.append({u"Name"_s, _trigger.userName()});
    rows.append({u"Filter"_s, filter.isNull() ? VXShownText(u"none: every object passes"_s) : filter});
    for (const VXReaction &reaction : _trigger.reactions()) {
        const QString problem = reaction.problem();
        rows.append({u"Reactor"_s, reaction.bundleIdentifier() +
                                       (problem.isNull() ? QString() : VXShownText(u", which %1"_s).arg(problem))});
        const QVariantMap own = reaction.userOptions();
        const QVariantMap options = reaction.options();
        for (auto option = options.begin(); option != options.end(); ++option)
            rows.append({QString(),
                         u"  %1 = %2%3"_s.arg(option.key(), valueText(*option),
                                              own.contains(option.key()) ? QString() : VXShownText(u" (default)"_s))});
    }
    return QStringList{VXShownText(u"Trigger %1 (%2)"_s).arg(_trigger.shortID(), state)} +
           VXTitledTable(rows).split(u'\n', Qt::SkipEmptyParts);
}

QMap<QString, QStringList> VXTriggersByPlugin()
{
    QMap<QString, QStringList> titles;
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    const auto store = VXTriggerStore::open();
    const auto triggers = store ? store->triggers() : std::nullopt;
    for (const VXTrigger &trigger : triggers ? *triggers : QList<VXTrigger>()) {
        QStringList roots;
        for (const VXReaction &reaction : trigger.reactions()) {
            VXPluginProxy *const reactor = manager.pluginWithIdentifier(reaction.bundleIdentifier());
            roots.append(reactor == nullptr ? reaction.bundleIdentifier() : reactor->rootProxy()->identifier());
        }
        roots.removeDuplicates();
        for (const QString &root : std::as_const(roots))
            titles[root].append(u"%1 (%2)"_s.arg(trigger.title(), trigger.shortID()));
    }
    return titles;
}

// -- Trying it out

namespace {

QString filterLine(const VXTriggerTrial &trial)
{
    using Kind = VXFilterVerdict::Kind;
    const QString problem = trial.problem.isEmpty() ? QString() : u": "_s + trial.problem;
    switch (trial.verdict) {
    case Kind::NoFilter:
        return VXShownText(u"No filter: every object passes."_s);
    case Kind::Passed:
        return VXShownText(u"The filter lets the object pass: %1"_s).arg(trial.filter);
    case Kind::Rejected:
        return VXShownText(u"The filter does not let the object pass: %1%2"_s).arg(trial.filter, problem);
    case Kind::Broken:
        return VXShownText(u"The filter does not work%1"_s).arg(problem);
    }
    return {};
}

QString reactionLine(const VXTriggerTrial::Reaction &reaction)
{
    const QString problem = reaction.problem.isNull() ? QString() : VXShownText(u", as it "_s) + reaction.problem;
    return u"%1 %2 %3"_s.arg(
        reaction.identifier,
        reaction.runs ? VXShownText(u"would run with"_s) : VXShownText(u"would not run%1; its options:"_s).arg(problem),
        QString::fromUtf8(VXJSONText(VXJSONFromVariant(VXValueWithoutPasswords(reaction.options)))));
}

} // namespace

QJsonObject VXTriggerReport::test(const QVariant &object, QStringList *lines) const
{
    const VXTriggerTrial trial = VXTriggerTrial::of(_trigger, object);
    lines->append(filterLine(trial));
    if (!trial.isEnabled)
        lines->append(VXShownText(u"The trigger is disabled."_s));
    QJsonArray reactors;
    for (const VXTriggerTrial::Reaction &reaction : trial.reactions) {
        lines->append(reactionLine(reaction));
        reactors.append(QJsonObject{{u"reactor"_s, reaction.identifier},
                                    {u"options"_s, VXJSONFromVariant(VXValueWithoutPasswords(reaction.options))},
                                    {u"runs"_s, reaction.runs},
                                    {u"problem"_s, VXJSONFromVariant(reaction.problem)}});
    }
    return {{u"id"_s, _trigger.shortID()},
            {u"enabled"_s, trial.isEnabled},
            {u"passes"_s, trial.passes},
            {u"filter"_s, VXJSONFromVariant(trial.filter)},
            {u"problem"_s, trial.problem.isEmpty() ? QJsonValue() : QJsonValue(trial.problem)},
            {u"reactors"_s, reactors}};
}
