#include "VXEventKeys.h"

#include "VXNearestWord.h"
#include "VXPredicate.h"

using namespace Qt::StringLiterals;

namespace {

void addKeys(const VXExpression &expression, QStringList &keys)
{
    if (expression.kind() == VXExpression::Kind::KeyPath && !expression.keys().isEmpty())
        keys.append(expression.keys().first());
    for (const VXExpression &element : expression.elements())
        addKeys(element, keys);
}

// The first key of each key path.
void addKeys(const VXPredicate &predicate, QStringList &keys)
{
    for (const VXPredicate &part : predicate.subpredicates())
        addKeys(part, keys);
    if (predicate.kind() != VXPredicate::Kind::Comparison)
        return;
    addKeys(predicate.left(), keys);
    addKeys(predicate.right(), keys);
}

} // namespace

QStringList VXKeysOfEvent(const QString &event)
{
    static const QStringList ofBoth{u"direction"_s, u"from"_s, u"to"_s,         u"device_url"_s, u"contact"_s,
                                    u"who"_s,       u"date"_s, u"event_date"_s, u"state"_s};
    static const QStringList ofCalls =
        ofBoth + QStringList{u"connectedDate"_s, u"duration"_s, u"isMissed"_s, u"call_id"_s};
    static const QStringList ofMessages =
        ofBoth + QStringList{u"text"_s,        u"url"_s,       u"isComplete"_s, u"partCount"_s,    u"partNumber"_s,
                             u"reference"_s,   u"kind"_s,      u"number"_s,     u"folder"_s,       u"isInbox"_s,
                             u"isDecodable"_s, u"locations"_s, u"memory"_s,     u"serviceCentre"_s};
    if (event == "incoming_call"_L1 || event == "outgoing_call"_L1)
        return ofCalls;
    return event == "new_message"_L1 ? ofMessages : QStringList();
}

QString VXDoubtOfFilter(const QString &filter, const QString &event)
{
    const QStringList known = VXKeysOfEvent(event);
    const std::optional<VXPredicate> predicate = VXPredicate::predicateWithFormat(filter);
    if (known.isEmpty() || !predicate)
        return {};
    QStringList keys;
    addKeys(*predicate, keys);
    for (const QString &key : std::as_const(keys)) {
        if (!known.contains(key) && !key.startsWith(u'@'))
            return u"The filter asks for \"%1\", but objects of %2 have only %3; texts stand in quotation marks%4"_s
                .arg(key, event, known.join(", "_L1), VXDidYouMean(key, known));
    }
    return {};
}
