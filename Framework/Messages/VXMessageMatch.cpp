#include "VXMessageMatch.h"

#include "VXConversationKey.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Message = VXManagedObjectPtr;

namespace {

constexpr qint64 nearness = 2000;           // milliseconds between equal dates
constexpr qint64 longestOnItsWay = 600'000; // milliseconds between the date here and that of the phone's own clock

qint64 apart(const QDateTime &date, const QDateTime &other)
{
    return date.isValid() && other.isValid() ? qAbs(date.msecsTo(other)) : 0;
}

} // namespace

bool VXMessageMatch::isAlike(const VXMessageRecord &record, const VXMessageRecord &other)
{
    return record.direction == other.direction && record.text == other.text &&
           VXConversationKey(record.otherParty()) == VXConversationKey(other.otherParty());
}

bool VXMessageMatch::isNear(const QDateTime &date, const QDateTime &other)
{
    return apart(date, other) <= nearness;
}

qint64 VXMessageMatch::spanOf(Rule rule)
{
    return rule == Rule::SentHere ? longestOnItsWay : nearness;
}

// The same rule as in conditionFor().
std::optional<qint64> VXMessageMatch::distance(const VXMessageRecord &record, const VXManagedObject &message, Rule rule)
{
    const QDateTime date = message.valueForKey(u"date"_s).toDateTime();
    const bool isSentHere = !record.isIncoming() && message.valueForKey(u"state"_s).toInt() == 2 &&
                            message.valueForKey(u"url"_s).isNull() && !message.valueForKey(u"device_url"_s).isNull();
    const bool mayHaveAnyDate = rule == Rule::SentHere && !record.date.isValid();
    const qint64 between = apart(record.date, date);
    if ((rule == Rule::SentHere && !isSentHere) || between > spanOf(rule) ||
        (!mayHaveAnyDate && record.date.isValid() != date.isValid()))
        return std::nullopt;
    return between;
}

VXPredicate VXMessageMatch::conditionFor(const VXMessageRecord &record, Rule rule) const
{
    QString format = u"direction == %@"_s;
    QVariantList arguments{static_cast<int>(record.direction)};
    const auto addText = [&](const QString &key, const QString &text) {
        format += " AND "_L1 + key + (text.isNull() ? " == NULL"_L1 : " == %@"_L1);
        if (!text.isNull())
            arguments.append(text);
    };
    addText(u"conversation"_s, VXConversationKey(record.otherParty()));
    addText(u"text"_s, record.text);
    if (record.date.isValid()) {
        const qint64 span = spanOf(rule);
        format += u" AND date >= %@ AND date <= %@"_s;
        arguments << record.date.toUTC().addMSecs(-span) << record.date.toUTC().addMSecs(span);
    } else if (rule == Rule::SameDate) {
        format += u" AND date == NULL"_s;
    }
    if (rule == Rule::SentHere)
        format += u" AND state == 2 AND url == NULL AND device_url != NULL"_s;
    return *VXPredicate::predicateWithFormat(format, arguments);
}

std::optional<VXManagedObjectPtr> VXMessageMatch::find(const VXMessageRecord &record, Rule rule, const Check &mayBe,
                                                       VXError *error) const
{
    if (rule == Rule::SentHere && record.isIncoming())
        return Message();
    VXFetchRequest request(*_store.coordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = conditionFor(record, rule);
    const std::optional<VXFetchResult> found = _context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    Message nearest;
    qint64 shortest = 0;
    for (const Message &message : *found) {
        const VXMessageRecord other(QVariant::fromValue(message));
        const qint64 between = apart(record.date, other.date);
        if ((nearest && between >= shortest) || !isAlike(record, other) || !mayBe(message))
            continue;
        nearest = message;
        shortest = between;
    }
    return nearest;
}
