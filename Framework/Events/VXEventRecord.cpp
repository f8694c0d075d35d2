#include "VXEventRecord.h"

#include "VXJSON.h"
#include "VXManagedObject.h"
#include "VXMethodLog.h"
#include "VXNone.h"
#include "VXPhonebookRecord.h"

#include <QtCore/QJsonArray>
#include <QtCore/QObject>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

template <class Outcome>
using OutcomeName = std::pair<Outcome, QLatin1StringView>;

constexpr std::array reactionOutcomes{
    OutcomeName<VXReactionRecord::Outcome>{VXReactionRecord::Outcome::Done, "done"_L1},
    OutcomeName<VXReactionRecord::Outcome>{VXReactionRecord::Outcome::Failed, "failed"_L1},
    OutcomeName<VXReactionRecord::Outcome>{VXReactionRecord::Outcome::Missing, "missing"_L1},
    OutcomeName<VXReactionRecord::Outcome>{VXReactionRecord::Outcome::Running, "running"_L1},
};

constexpr std::array triggerOutcomes{
    OutcomeName<VXTriggerRecord::Outcome>{VXTriggerRecord::Outcome::Ran, "ran"_L1},
    OutcomeName<VXTriggerRecord::Outcome>{VXTriggerRecord::Outcome::Rejected, "rejected"_L1},
    OutcomeName<VXTriggerRecord::Outcome>{VXTriggerRecord::Outcome::Disabled, "disabled"_L1},
    OutcomeName<VXTriggerRecord::Outcome>{VXTriggerRecord::Outcome::Broken, "broken"_L1},
};

template <class Names, class Outcome>
QString nameOf(const Names &names, Outcome outcome)
{
    return std::ranges::find(names, outcome, &OutcomeName<Outcome>::first)->second;
}

// The outcome with that name; the first one for an unknown name.
template <class Names>
auto outcomeOf(const Names &names, const QJsonValue &name)
{
    const auto found = std::ranges::find_if(names, [&](const auto &entry) { return entry.second == name.toString(); });
    return (found == names.end() ? names.begin() : found)->first;
}

void insertText(QJsonObject &json, const QString &key, const QString &text)
{
    if (!text.isNull())
        json.insert(key, text);
}

template <class List, class Function>
QJsonArray arrayOf(const List &list, Function function)
{
    QJsonArray array;
    std::ranges::transform(list, std::back_inserter(array), function);
    return array;
}

QJsonObject reactionJSON(const VXReactionRecord &reaction)
{
    QJsonObject json{{u"reactor"_s, reaction.identifier},
                     {u"outcome"_s, nameOf(reactionOutcomes, reaction.outcome)},
                     {u"milliseconds"_s, reaction.milliseconds}};
    if (!reaction.problems.isEmpty())
        json.insert(u"problems"_s, QJsonArray::fromStringList(reaction.problems));
    insertText(json, u"remark"_s, reaction.remark);
    return json;
}

VXReactionRecord reactionFrom(const QJsonObject &json)
{
    return {.identifier = json[u"reactor"_s].toString(),
            .outcome = outcomeOf(reactionOutcomes, json[u"outcome"_s]),
            .problems = json[u"problems"_s].toVariant().toStringList(),
            .remark = json[u"remark"_s].toString(),
            .milliseconds = json[u"milliseconds"_s].toDouble()};
}

QJsonObject triggerJSON(const VXTriggerRecord &trigger)
{
    QJsonObject json{{u"trigger"_s, trigger.uri}, {u"outcome"_s, nameOf(triggerOutcomes, trigger.outcome)}};
    insertText(json, u"name"_s, trigger.name);
    insertText(json, u"filter"_s, trigger.filter);
    insertText(json, u"problem"_s, trigger.problem);
    if (!trigger.reactions.isEmpty())
        json.insert(u"reactions"_s, arrayOf(trigger.reactions, reactionJSON));
    return json;
}

VXTriggerRecord triggerFrom(const QJsonObject &json)
{
    VXTriggerRecord trigger{.uri = json[u"trigger"_s].toString(),
                            .name = json[u"name"_s].toString(),
                            .outcome = outcomeOf(triggerOutcomes, json[u"outcome"_s]),
                            .filter = json[u"filter"_s].toString(),
                            .problem = json[u"problem"_s].toString()};
    for (const auto reaction : json[u"reactions"_s].toArray())
        trigger.reactions.append(reactionFrom(reaction.toObject()));
    return trigger;
}

} // namespace

bool VXTriggerRecord::isFailure() const
{
    return outcome == Outcome::Broken || std::ranges::any_of(reactions, [](const VXReactionRecord &reaction) {
               return reaction.outcome == VXReactionRecord::Outcome::Failed ||
                      reaction.outcome == VXReactionRecord::Outcome::Missing;
           });
}

bool VXEventRecord::isRunning() const
{
    return std::ranges::any_of(triggers, [](const VXTriggerRecord &trigger) {
        return std::ranges::find(trigger.reactions, VXReactionRecord::Outcome::Running, &VXReactionRecord::outcome) !=
               trigger.reactions.end();
    });
}

bool VXEventRecord::isFailure() const
{
    return !problem.isNull() || std::ranges::any_of(triggers, &VXTriggerRecord::isFailure);
}

void VXEventRecord::setObject(const QVariant &value)
{
    if (VXIsNone(value))
        return;
    who = VXValueForKey(VXObjectWithContact(value), u"who"_s).toString();
    if (value.typeId() == QMetaType::QVariantMap)
        object = value.toMap();
    else if (value.metaType() == QMetaType::fromType<VXManagedObjectPtr>()) {
        const VXManagedObjectID &objectID = value.value<VXManagedObjectPtr>()->objectID();
        if (objectID.isTemporary())
            objectClass = objectID.entity().name();
        else
            objectURI = objectID.uriRepresentation().toString();
    } else if (const auto *const instance = value.value<QObject *>())
        objectClass = QString::fromUtf8(instance->metaObject()->className());
    else
        objectClass = QString::fromUtf8(value.metaType().name());
}

QJsonObject VXEventRecord::json() const
{
    QJsonObject json{{u"date"_s, date.toUTC().toString(Qt::ISODateWithMs)},
                     {u"process"_s, process},
                     {u"event"_s, name},
                     {u"milliseconds"_s, milliseconds},
                     {u"triggers"_s, arrayOf(triggers, triggerJSON)}};
    insertText(json, u"id"_s, identifier);
    insertText(json, u"subtype"_s, subtype);
    insertText(json, u"objectURI"_s, objectURI);
    insertText(json, u"objectClass"_s, objectClass);
    insertText(json, u"who"_s, who);
    insertText(json, u"problem"_s, problem);
    if (!object.isEmpty())
        json.insert(u"object"_s, VXJSONFromVariant(object));
    if (omittedTriggers != 0)
        json.insert(u"omittedTriggers"_s, omittedTriggers);
    return json;
}

std::optional<VXEventRecord> VXEventRecord::fromJSON(const QJsonObject &json)
{
    VXEventRecord record{.identifier = json[u"id"_s].toString(),
                         .date = QDateTime::fromString(json[u"date"_s].toString(), Qt::ISODateWithMs),
                         .process = json[u"process"_s].toInteger(),
                         .name = json[u"event"_s].toString(),
                         .subtype = json[u"subtype"_s].toString(),
                         .object = VXVariantFromJSON(json[u"object"_s]).toMap(),
                         .objectURI = json[u"objectURI"_s].toString(),
                         .objectClass = json[u"objectClass"_s].toString(),
                         .who = json[u"who"_s].toString(),
                         .omittedTriggers = json[u"omittedTriggers"_s].toInteger(),
                         .problem = json[u"problem"_s].toString(),
                         .milliseconds = json[u"milliseconds"_s].toDouble()};
    if (record.identifier.isEmpty() || !record.date.isValid() || record.name.isNull())
        return std::nullopt;
    for (const auto trigger : json[u"triggers"_s].toArray())
        record.triggers.append(triggerFrom(trigger.toObject()));
    return record;
}
