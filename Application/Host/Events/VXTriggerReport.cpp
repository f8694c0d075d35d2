#include "VXTriggerReport.h"

#include "VXHostJSON.h"

#include <QtCore/QJsonArray>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

QJsonObject jsonOf(const VXReaction &reaction)
{
    return {{u"reactor"_s, reaction.bundleIdentifier()}, {u"options"_s, VXJSONFromVariant(reaction.userOptions())}};
}

QString valueText(const QVariant &value)
{
    return value.typeId() == QMetaType::QString ? value.toString()
                                                : QString::fromUtf8(VXJSONText(VXJSONFromVariant(value)));
}

} // namespace

QString VXTriggerReport::shortID() const
{
    return u'p' + QString::number(_trigger.record()->objectID().number());
}

QJsonObject VXTriggerReport::json() const
{
    QJsonArray reactions;
    for (const VXReaction &reaction : _trigger.reactions())
        reactions.append(jsonOf(reaction));
    const QString filter = _trigger.filterText();
    const QString name = _trigger.userName();
    return {{u"id"_s, shortID()},
            {u"uri"_s, _trigger.record()->objectID().uriRepresentation().toString()},
            {u"event"_s, _trigger.eventName()},
            {u"name"_s, name.isNull() ? QJsonValue() : QJsonValue(name)},
            {u"enabled"_s, _trigger.isEnabled()},
            {u"filter"_s, filter.isNull() ? QJsonValue() : QJsonValue(filter)},
            {u"reactors"_s, reactions}};
}

QStringList VXTriggerReport::columnTitles()
{
    return {u"ID"_s, u"STATE"_s, u"EVENT"_s, u"NAME"_s, u"REACTORS"_s, u"FILTER"_s};
}

QStringList VXTriggerReport::columns() const
{
    QStringList identifiers;
    for (const VXReaction &reaction : _trigger.reactions())
        identifiers.append(reaction.bundleIdentifier());
    return {shortID(),
            _trigger.isEnabled() ? u"enabled"_s : u"disabled"_s,
            _trigger.eventName(),
            _trigger.userName(),
            identifiers.join(", "_L1),
            _trigger.filterText()};
}

QStringList VXTriggerReport::lines() const
{
    const QString filter = _trigger.filterText();
    QStringList lines{u"Trigger %1 (%2)"_s.arg(shortID(), _trigger.isEnabled() ? u"enabled"_s : u"disabled"_s),
                      u"  event   %1"_s.arg(_trigger.eventName())};
    if (!_trigger.userName().isEmpty())
        lines.append(u"  name    %1"_s.arg(_trigger.userName()));
    lines.append(u"  filter  %1"_s.arg(filter.isNull() ? u"none: every object passes"_s : filter));
    for (const VXReaction &reaction : _trigger.reactions()) {
        const QString problem = reaction.problem();
        lines.append(u"  reactor %1%2"_s.arg(reaction.bundleIdentifier(),
                                             problem.isNull() ? QString() : u", which "_s + problem));
        const QVariantMap own = reaction.userOptions();
        const QVariantMap options = reaction.options();
        for (auto option = options.begin(); option != options.end(); ++option)
            lines.append(u"    %1 = %2%3"_s.arg(option.key(), valueText(*option),
                                                own.contains(option.key()) ? QString() : u" (default)"_s));
    }
    return lines;
}

// -- Trying it out

QJsonObject VXTriggerReport::testFilter(const QVariant &object, QString *line) const
{
    using Kind = VXFilterVerdict::Kind;
    const VXFilterVerdict verdict = _trigger.test(object);
    const QString format = verdict.predicate ? verdict.predicate->predicateFormat() : QString();
    const QString reason = verdict.kind == Kind::Rejected ? VXReasonForRejection(verdict, object) : verdict.problem;
    const QString problem = reason.isEmpty() ? QString() : u": "_s + reason;
    const bool passes = verdict.kind == Kind::NoFilter || verdict.kind == Kind::Passed;
    switch (verdict.kind) {
    case Kind::NoFilter:
        *line = u"No filter: every object passes."_s;
        break;
    case Kind::Passed:
        *line = u"The filter lets the object pass: %1"_s.arg(format);
        break;
    case Kind::Rejected:
        *line = u"The filter does not let the object pass: %1%2"_s.arg(format, problem);
        break;
    case Kind::Broken:
        *line = u"The filter does not work%1"_s.arg(problem);
        break;
    }
    return {{u"passes"_s, passes},
            {u"filter"_s, format.isNull() ? QJsonValue() : QJsonValue(format)},
            {u"problem"_s, reason.isEmpty() ? QJsonValue() : QJsonValue(reason)}};
}

QJsonObject VXTriggerReport::test(const QVariant &object, QStringList *lines) const
{
    QString line;
    QJsonObject json = testFilter(object, &line);
    lines->append(line);
    const bool isEnabled = _trigger.isEnabled();
    if (!isEnabled)
        lines->append(u"The trigger is disabled."_s);
    const bool runs = isEnabled && json.value(u"passes"_s).toBool();
    QJsonArray list;
    for (const VXReaction &reaction : _trigger.reactions()) {
        const QString identifier = reaction.bundleIdentifier();
        const QString problem = reaction.problem();
        const bool wouldRun = runs && problem.isNull();
        const QJsonValue shown = VXJSONFromVariant(reaction.options());
        const QString verdict =
            wouldRun ? u"would run with"_s
                     : u"would not run%1; its options:"_s.arg(problem.isNull() ? QString() : u", as it "_s + problem);
        lines->append(u"%1 %2 %3"_s.arg(identifier, verdict, QString::fromUtf8(VXJSONText(shown))));
        list.append(QJsonObject{{u"reactor"_s, identifier},
                                {u"options"_s, shown},
                                {u"runs"_s, wouldRun},
                                {u"problem"_s, problem.isNull() ? QJsonValue() : QJsonValue(problem)}});
    }
    json.insert(u"id"_s, shortID());
    json.insert(u"enabled"_s, isEnabled);
    json.insert(u"reactors"_s, list);
    return json;
}
