#include "VXCallRecorder.h"

#include "VXCoreDataSaveError.h"
#include "VXDataManager.h"
#include "VXEvent.h"
#include "VXManagedObjectContext.h"
#include "VXMethodLog.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

namespace {

// A call whose end was never reported is not mistaken for a later one.
constexpr qint64 longestCall = 24 * 60 * 60; // seconds
constexpr qint64 longestRinging = 5 * 60;    // seconds

VXPredicate equals(const QString &key, const QString &text)
{
    const QVariant value = text.isNull() ? QVariant() : QVariant(text);
    return VXPredicate::comparison(VXExpression::keyPath(key), Operator::Equal, VXExpression::constant(value));
}

VXPredicate startedSince(const QDateTime &time)
{
    return VXPredicate::comparison(VXExpression::keyPath(u"date"_s), Operator::GreaterOrEqual,
                                   VXExpression::constant(time));
}

// The calls that the news may refer to.
VXPredicate candidates(const VXCallNews &news)
{
    const VXCallRecord &call = news.call;
    QList<VXPredicate> all{equals(u"device_url"_s, call.deviceURL),
                           VXPredicate::comparison(VXExpression::keyPath(u"direction"_s), Operator::Equal,
                                                   VXExpression::constant(int(call.direction)))};
    if (!call.identifier.isNull())
        return VXPredicate::allOf(all << equals(u"call_id"_s, call.identifier));
    const bool isRinging = news.state == "ringing"_L1; // phones report it with each ring
    all << equals(u"from"_s, call.from) << equals(u"to"_s, call.to)
        << startedSince(call.eventDate.addSecs(isRinging ? -longestRinging : -longestCall));
    all << (isRinging ? equals(u"state"_s, u"ringing"_s) : VXPredicate::negationOf(equals(u"state"_s, u"ended"_s)));
    return VXPredicate::allOf(all);
}

// The newest call that the news refers to; a new one if there is none. Null, with an error, if that cannot be found
// out.
VXManagedObjectPtr callFor(const VXCallNews &news, VXManagedObjectContext &context, VXError *error)
{
    const VXManagedObjectModel &model = context.persistentStoreCoordinator()->model();
    VXFetchRequest request(*model.entityForName(VXCall::entityName));
    request.predicate = candidates(news);
    request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
    request.limit = 1;
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return {};
    return found->isEmpty() ? context.insertNewObject(VXCall::entityName) : found->first();
}

void announceSave(const VXCallNews &news)
{
    static const VXNotificationName didSave(VXDataStoreDidSaveNotification);
    VXNotificationCenter::defaultCenter().postNotificationName(
        didSave, {},
        {{VXEventNameKey, news.call.isIncoming() ? u"incoming_call"_s : u"outgoing_call"_s},
         {VXEntityStoreKey, u"calls"_s},
         {VXEntityNameKey, VXCall::entityName}});
}

} // namespace

VXCallRecorder::VXCallRecorder(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

std::optional<VXCallNews> VXCallRecorder::newsOf(const VXNotification &notification) const
{
    const VXEvent event = VXEvent::fromNotification(notification);
    const QString state = event.subtype;
    const bool isIncoming = event.name == "incoming_call"_L1;
    if (!isIncoming && event.name != "outgoing_call"_L1)
        return std::nullopt;
    if (state != "ringing"_L1 && state != "connected"_L1 && state != "ended"_L1)
        return std::nullopt;
    const auto object = notification.object.value<VXManagedObjectPtr>();
    const VXStoreIdentity *const store = object ? object->objectID().store() : nullptr;
    if (store != nullptr && _coordinator->persistentStoreForIdentity(*store)) // it is already in the history
        return std::nullopt;
    VXCallRecord call(notification.object);
    // The poster of the event knows the direction.
    call.direction = isIncoming ? VXRecordDirection::Incoming : VXRecordDirection::Outgoing;
    if (!call.eventDate.isValid())
        call.eventDate = QDateTime::currentDateTimeUtc();
    return VXCallNews{.state = state, .call = call};
}

void VXCallRecorder::eventWillBePosted(const VXNotification &notification)
{
    const std::optional<VXCallNews> heard = newsOf(notification);
    if (!heard)
        return;
    _news.add(*heard, [this](const VXCallNews &news) {
        if (record(news))
            announceSave(news);
    });
}

bool VXCallRecorder::record(const VXCallNews &news)
{
    // Other programs hear of it too. Who waits in vain notes it all the same: twice is better than not at all.
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    VXManagedObjectContext context(_coordinator);
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    VXError error;
    const VXManagedObjectPtr object = callFor(news, context, &error);
    if (auto *const call = dynamic_cast<VXCall *>(object.get())) {
        call->take(news);
        if (context.save(&error))
            return true;
    }
    VXLogMethod(VXLogError, "record:", "call not kept: "_L1 + error.description());
    VXLogCoreDataSaveError(error);
    return false;
}
