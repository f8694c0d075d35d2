#include "VXEventKeys.h"

#include "VXNearestWord.h"
#include "VXPredicate.h"

using namespace Qt::StringLiterals;

namespace {

/** What a filter asks an object for. */
struct Asked
{
    QStringList key;      // a key path
    bool isRight = false; // of the operator, where texts mostly stand
    QVariant other = {};  // what it is compared with, where that is known
};

void addKeys(const VXExpression &expression, const VXExpression &other, bool isRight, QList<Asked> &asked)
{
    if (expression.kind() == VXExpression::Kind::KeyPath && !expression.keys().isEmpty())
        asked.append(
            {expression.keys(), isRight, other.kind() == VXExpression::Kind::Constant ? other.value() : QVariant()});
    for (const VXExpression &element : expression.elements())
        addKeys(element, other, isRight, asked);
}

void addKeys(const VXPredicate &predicate, QList<Asked> &asked)
{
    for (const VXPredicate &part : predicate.subpredicates())
        addKeys(part, asked);
    if (predicate.kind() != VXPredicate::Kind::Comparison)
        return;
    addKeys(predicate.left(), predicate.right(), false, asked);
    addKeys(predicate.right(), predicate.left(), true, asked);
}

// Lists of a contact are objects; what of them is a text. Null when the key path leads to no such list.
QString textKeyOfList(const QStringList &keys)
{
    static const QMap<QString, QString> texts{{u"groups"_s, u"name"_s},
                                              {u"numbers"_s, u"number"_s},
                                              {u"emails"_s, u"address"_s},
                                              {u"urls"_s, u"url"_s},
                                              {u"addresses"_s, u"city"_s}};
    return keys.size() == 2 && keys.first() == "contact"_L1 ? texts.value(keys.last()) : QString();
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
    QList<Asked> asked;
    addKeys(*predicate, asked);
    for (const auto &[keys, isRight, other] : std::as_const(asked)) {
        const QString &key = keys.first();
        if (const QString text = textKeyOfList(keys); !text.isNull() && other.typeId() == QMetaType::QString)
            return u"The filter compares \"%1\" with a text, but these are objects; ANY %1.%2 == \"%3\" asks for one of them"_s
                .arg(keys.join(u'.'), text, other.toString());
        if (known.contains(key) || key.startsWith(u'@'))
            continue;
        return u"The filter asks for \"%1\", but objects of %2 have only %3; texts stand in quotation marks%4"_s.arg(
            key, event, known.join(", "_L1), isRight ? u", as \"%1\""_s.arg(key) : VXDidYouMean(key, known));
    }
    return {};
}
