#include "VXCallStore.h"

#include "VXConversationKey.h"

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

const QString VXCallStore::storeName = u"calls"_s;
const QString VXCallStore::entityName = u"VXCall"_s;

namespace {

constexpr qint64 nearness = 120; // seconds

QVariant noneOr(const QString &text)
{
    return text.isNull() ? QVariant() : QVariant(text);
}

bool isSamePhone(const QString &a, const QString &b)
{
    return a.isEmpty() || b.isEmpty() || a == b;
}

} // namespace

std::optional<VXManagedObjectPtr> VXCallStore::find(const VXCallRecord &record, VXManagedObjectContext &context,
                                                    VXError *error) const
{
    const QDateTime start = record.start();
    VXFetchRequest request(*_coordinator->model().entityForName(entityName));
    request.predicate =
        VXPredicate::allOf({VXPredicate::comparison(u"date"_s, Operator::GreaterOrEqual, start.addSecs(-nearness)),
                            VXPredicate::comparison(u"date"_s, Operator::LessOrEqual, start.addSecs(nearness)),
                            VXPredicate::comparison(u"direction"_s, Operator::Equal, int(record.direction))});
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    VXManagedObjectPtr nearest;
    qint64 distance = (nearness + 1) * 1000;
    for (const VXManagedObjectPtr &call : *found) {
        const VXCallRecord other(QVariant::fromValue(call));
        const qint64 apart = qAbs(other.date.msecsTo(start));
        if (apart < distance && isSamePhone(record.deviceURL, other.deviceURL) &&
            VXConversationKey(record.otherParty()) == VXConversationKey(other.otherParty())) {
            nearest = call;
            distance = apart;
        }
    }
    return nearest;
}

std::optional<VXManagedObjectPtr> VXCallStore::find(const QString &deviceURL, const QString &callID,
                                                    VXManagedObjectContext &context, VXError *error) const
{
    VXFetchRequest request(*_coordinator->model().entityForName(entityName));
    request.predicate =
        VXPredicate::allOf({VXPredicate::comparison(u"call_id"_s, Operator::Equal, callID),
                            VXPredicate::comparison(u"device_url"_s, Operator::Equal, noneOr(deviceURL))});
    request.limit = 1;
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    return found ? std::optional(found->first()) : std::nullopt;
}

VXManagedObjectPtr VXCallStore::insert(const VXCallRecord &record, VXManagedObjectContext &context)
{
    const VXManagedObjectPtr call = context.insertNewObject(entityName);
    call->setValueForKey(u"ended"_s, u"state"_s);
    call->setValueForKey(int(record.direction), u"direction"_s);
    call->setValueForKey(noneOr(record.from), u"from"_s);
    call->setValueForKey(noneOr(record.to), u"to"_s);
    call->setValueForKey(noneOr(record.deviceURL), u"device_url"_s);
    call->setValueForKey(noneOr(record.identifier), u"call_id"_s);
    call->setValueForKey(record.start(), u"date"_s);
    if (record.connectedDate.isValid())
        call->setValueForKey(record.connectedDate, u"connectedDate"_s);
    call->setValueForKey(record.duration.value_or(0), u"duration"_s);
    return call;
}
