#include "VXOutbox.h"

#include "VXDataManager.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"

#include <algorithm>
#include <array>
#include <limits>

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

const VXNotificationName VXOutboxDidChangeNotification(u"VXOutboxDidChangeNotification"_s);

namespace {

constexpr QLatin1StringView entityName("VXOutboxEntry");

VXPredicate equals(const QString &key, const QVariant &value)
{
    return VXPredicate::comparison(VXExpression::keyPath(key), Operator::Equal, VXExpression::constant(value));
}

VXOutboxEntry entryWithoutPayload(const VXManagedObject &object)
{
    return {.number = object.objectID().number(),
            .kind = object.valueForKey(u"kind"_s).toString(),
            .destination = object.valueForKey(u"destination"_s).toString(),
            .title = object.valueForKey(u"title"_s).toString(),
            .payload = {},
            .state = static_cast<VXOutboxState>(object.valueForKey(u"state"_s).toInt()),
            .problem = object.valueForKey(u"problem"_s).toString(),
            .attempts = object.valueForKey(u"attempts"_s).toInt(),
            .createdDate = object.valueForKey(u"createdDate"_s).toDateTime(),
            .nextDate = object.valueForKey(u"nextDate"_s).toDateTime(),
            .finishedDate = object.valueForKey(u"finishedDate"_s).toDateTime()};
}

VXOutboxEntry entryOf(const VXManagedObject &object)
{
    VXOutboxEntry entry = entryWithoutPayload(object);
    entry.payload = object.valueForKey(u"payload"_s).toMap();
    return entry;
}

VXFetchRequest requestForOpen(const VXPersistentStoreCoordinator &coordinator)
{
    VXFetchRequest request(*coordinator.model().entityForName(entityName));
    // Not the kind too: the store would take the index of that, and pass over all that is done.
    request.predicate = VXPredicate::comparison(VXExpression::keyPath(u"state"_s), Operator::LessOrEqual,
                                                VXExpression::constant(static_cast<int>(VXOutboxState::Sending)));
    return request;
}

// Those that wait for the destination and were added before a number; the changes are not saved. None when they cannot be read.
std::optional<QList<qint64>> makeDue(VXManagedObjectContext &context, const QString &kind, const QString &destination,
                                     qint64 before, VXError *error)
{
    const std::optional<VXFetchResult> found =
        context.executeFetchRequest(requestForOpen(*context.persistentStoreCoordinator()), error);
    if (!found)
        return std::nullopt;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<qint64> changed;
    for (const VXManagedObjectPtr &object : *found) {
        const VXOutboxEntry entry = entryWithoutPayload(*object);
        if (entry.kind != kind || entry.destination != destination || entry.number >= before ||
            entry.state != VXOutboxState::Queued || entry.nextDate <= now)
            continue;
        object->setValueForKey(now, u"nextDate"_s);
        changed.append(entry.number);
    }
    return changed;
}

QVariant noneOr(const QDateTime &date)
{
    return date.isValid() ? QVariant(date) : QVariant();
}

void write(const VXOutboxEntry &entry, VXManagedObject &object)
{
    object.setValueForKey(static_cast<int>(entry.state), u"state"_s);
    object.setValueForKey(entry.problem.isNull() ? QVariant() : QVariant(entry.problem), u"problem"_s);
    object.setValueForKey(entry.attempts, u"attempts"_s);
    object.setValueForKey(noneOr(entry.nextDate), u"nextDate"_s);
    object.setValueForKey(noneOr(entry.finishedDate), u"finishedDate"_s);
}

// Null, and no error, when there is no such entry.
VXManagedObjectPtr objectOf(VXManagedObjectContext &context, qint64 number, VXError *error)
{
    const VXPersistentStoreCoordinator &coordinator = *context.persistentStoreCoordinator();
    const VXEntityDescription &entity = *coordinator.model().entityForName(entityName);
    const VXStoreIdentity &store = coordinator.persistentStores().first()->identity();
    return context.existingObjectWithID({entity, store, number}, error);
}

// The same, with an error then.
VXManagedObjectPtr neededObject(VXManagedObjectContext &context, qint64 number, VXError *error)
{
    VXError problem;
    const VXManagedObjectPtr object = objectOf(context, number, &problem);
    if (!object)
        VXSetError(error,
                   problem ? problem : VXMakeError(VXLocalizedString(u"There is no such entry in the outbox."_s)));
    return object;
}

bool fail(VXError *error, const QString &reason)
{
    VXSetError(error, VXMakeError(VXLocalizedString(reason)));
    return false;
}

void announce(qint64 number)
{
    VXNotificationCenter::defaultCenter().postNotificationName(VXOutboxDidChangeNotification, number);
}

} // namespace

QString VXOutboxStateName(VXOutboxState state)
{
    static const std::array names{u"queued"_s, u"sending"_s, u"sent"_s, u"failed"_s, u"perhaps sent"_s};
    const auto index = static_cast<size_t>(state);
    return index < names.size() ? names[index] : QString::number(static_cast<int>(state));
}

std::optional<VXOutbox> VXOutbox::sharedOutbox()
{
    const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"outbox"_s);
    return coordinator ? std::optional(VXOutbox(coordinator)) : std::nullopt;
}

std::optional<qint64> VXOutbox::add(const QString &kind, const QString &destination, const QString &title,
                                    const QVariantMap &payload, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr object = context.insertNewObject(entityName);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    object->setValueForKey(kind, u"kind"_s);
    object->setValueForKey(destination, u"destination"_s);
    object->setValueForKey(title, u"title"_s);
    object->setValueForKey(payload, u"payload"_s);
    object->setValueForKey(now, u"createdDate"_s);
    object->setValueForKey(now, u"nextDate"_s);
    if (!context.save(error))
        return std::nullopt;
    const qint64 number = object->objectID().number();
    announce(number);
    return number;
}

std::optional<QList<VXOutboxEntry>> VXOutbox::entries(const QString &kind, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    VXFetchRequest request(*_coordinator->model().entityForName(entityName));
    if (!kind.isNull())
        request.predicate = equals(u"kind"_s, kind);
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QList<VXOutboxEntry> entries;
    for (const VXManagedObjectPtr &object : *found)
        entries.append(entryOf(*object));
    std::ranges::sort(entries, {}, &VXOutboxEntry::number); // numbers grow
    return entries;
}

std::optional<QList<VXOutboxEntry>> VXOutbox::openEntries(const QString &kind, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const std::optional<VXFetchResult> found = context.executeFetchRequest(requestForOpen(*_coordinator), error);
    if (!found)
        return std::nullopt;
    QList<VXOutboxEntry> entries;
    for (const VXManagedObjectPtr &object : *found) {
        if (object->valueForKey(u"kind"_s).toString() == kind)
            entries.append(entryWithoutPayload(*object));
    }
    std::ranges::sort(entries, {}, &VXOutboxEntry::number);
    return entries;
}

std::optional<VXOutboxEntry> VXOutbox::entry(qint64 number, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr object = objectOf(context, number, error);
    return object ? std::optional(entryOf(*object)) : std::nullopt;
}

bool VXOutbox::retry(qint64 number, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr object = neededObject(context, number, error);
    if (!object)
        return false;
    VXOutboxEntry entry = entryWithoutPayload(*object);
    if (entry.state == VXOutboxState::Sent)
        return fail(error, u"It has been sent already."_s);
    if (entry.state == VXOutboxState::Sending)
        return fail(error, u"It is just being sent."_s);
    entry.state = VXOutboxState::Queued;
    entry.nextDate = QDateTime::currentDateTimeUtc();
    entry.finishedDate = {};
    write(entry, *object);
    const bool isSaved = makeDue(context, entry.kind, entry.destination, number, error) &&
                         context.save(error); // a runner that takes it meanwhile is a conflict
    if (isSaved)
        announce(number);
    return isSaved;
}

bool VXOutbox::retryDestination(const QString &kind, const QString &destination, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const auto changed = makeDue(context, kind, destination, std::numeric_limits<qint64>::max(), error);
    if (!changed || (!changed->isEmpty() && !context.save(error)))
        return false;
    for (const qint64 number : *changed)
        announce(number);
    return true;
}

bool VXOutbox::drop(qint64 number, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr object = neededObject(context, number, error);
    if (!object)
        return false;
    if (entryWithoutPayload(*object).state == VXOutboxState::Sending)
        return fail(error, u"It is just being sent."_s);
    context.deleteObject(object);
    const bool isSaved = context.save(error); // as above
    if (isSaved)
        announce(number);
    return isSaved;
}

bool VXOutbox::update(const VXOutboxEntry &entry, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr object = neededObject(context, entry.number, error);
    if (!object)
        return false;
    write(entry, *object);
    const bool isSaved = context.save(error);
    if (isSaved)
        announce(entry.number);
    return isSaved;
}

bool VXOutbox::forgetSentBefore(const QDateTime &time, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    VXFetchRequest request(*_coordinator->model().entityForName(entityName));
    request.predicate = VXPredicate::allOf({equals(u"state"_s, static_cast<int>(VXOutboxState::Sent)),
                                            VXPredicate::comparison(VXExpression::keyPath(u"finishedDate"_s),
                                                                    Operator::Less, VXExpression::constant(time))});
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return false;
    for (const VXManagedObjectPtr &object : *found)
        context.deleteObject(object);
    return found->isEmpty() || context.save(error);
}
