#include "VXOutbox.h"

#include "VXDataManager.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXObjectStoreError.h"
#include "VXPropertyList.h"

#include <QtCore/QCborValue>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

const VXNotificationName VXOutboxDidChangeNotification(u"VXOutboxDidChangeNotification"_s);
const QString VXOutboxNumbersKey = u"numbers"_s;
const QString VXOutboxChangeKey = u"change"_s;

namespace {

constexpr QLatin1StringView entityName("VXOutboxEntry");

// Holds, as CBOR, payloads that a property list cannot hold: messages from phones contain page breaks, and events
// anything.
const QString encodedKey = u"VXEncoded"_s;

QVariantMap storedPayload(const QVariantMap &payload)
{
    if (VXPropertyList::isValid(payload))
        return payload;
    return {{encodedKey, QCborValue::fromVariant(payload).toCbor()}};
}

QVariantMap payloadOf(const QVariantMap &stored)
{
    const QVariant encoded = stored.value(encodedKey);
    return encoded.isValid() ? QCborValue::fromCbor(encoded.toByteArray()).toVariant().toMap() : stored;
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
    entry.payload = payloadOf(object.valueForKey(u"payload"_s).toMap());
    return entry;
}

// Reads only entries of these kinds, with their payloads.
VXFetchRequest requestForOpen(const VXPersistentStoreCoordinator &coordinator, const QStringList &kinds)
{
    VXFetchRequest request(*coordinator.model().entityForName(entityName));
    QList<VXPredicate> ofKinds;
    // The condition is written so that no index applies: with that on the kind, the store would also go through all
    // entries that are done.
    for (const QString &kind : kinds)
        ofKinds.append(VXPredicate::negationOf(VXPredicate::comparison(
            VXExpression::keyPath(u"kind"_s), Operator::NotEqual, VXExpression::constant(kind))));
    request.predicate =
        VXPredicate::allOf({VXPredicate::comparison(VXExpression::keyPath(u"state"_s), Operator::LessOrEqual,
                                                    VXExpression::constant(static_cast<int>(VXOutboxState::Sending))),
                            VXPredicate::anyOf(ofKinds)});
    return request;
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

// Null without an error when there is no such entry.
VXManagedObjectPtr objectOf(VXManagedObjectContext &context, qint64 number, VXError *error)
{
    const VXPersistentStoreCoordinator &coordinator = *context.persistentStoreCoordinator();
    const VXEntityDescription &entity = *coordinator.model().entityForName(entityName);
    const VXStoreIdentity &store = coordinator.persistentStores().first()->identity();
    return context.existingObjectWithID({entity, store, number}, error);
}

// The same, but with an error in that case.
VXManagedObjectPtr neededObject(VXManagedObjectContext &context, qint64 number, VXError *error)
{
    VXError problem;
    const VXManagedObjectPtr object = objectOf(context, number, &problem);
    if (!object)
        VXSetError(error,
                   problem ? problem : VXMakeError(VXLocalizedString(u"There is no such entry in the outbox."_s)));
    return object;
}

void announce(VXOutboxChange change, const QString &kind, const QVariantList &numbers)
{
    VXNotificationCenter::defaultCenter().postNotificationName(
        VXOutboxDidChangeNotification, kind,
        {{VXOutboxNumbersKey, numbers}, {VXOutboxChangeKey, static_cast<int>(change)}});
}

// Turns the result for several entries into that for the only one that was asked for.
bool isDone(const std::optional<VXOutbox::Refusals> &refusals, VXError *error)
{
    if (refusals && !refusals->isEmpty())
        VXSetError(error, refusals->first());
    return refusals && refusals->isEmpty();
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
    object->setValueForKey(storedPayload(payload), u"payload"_s);
    object->setValueForKey(now, u"createdDate"_s);
    object->setValueForKey(now, u"nextDate"_s);
    if (!context.save(error))
        return std::nullopt;
    const qint64 number = object->objectID().number();
    announce(VXOutboxChange::Due, kind, {number});
    return number;
}

std::optional<QList<VXOutboxEntry>> VXOutbox::entries(const QString &kind, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    VXFetchRequest request(*_coordinator->model().entityForName(entityName));
    if (!kind.isNull())
        request.predicate = VXPredicate::comparison(u"kind"_s, Operator::Equal, kind);
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QList<VXOutboxEntry> entries;
    for (const VXManagedObjectPtr &object : *found)
        entries.append(entryOf(*object));
    std::ranges::sort(entries, {}, &VXOutboxEntry::number); // numbers ascend
    return entries;
}

std::optional<QList<VXOutboxEntry>> VXOutbox::openEntries(const QString &kind, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const auto found = context.executeFetchRequest(requestForOpen(*_coordinator, {kind}), error);
    if (!found)
        return std::nullopt;
    QList<VXOutboxEntry> entries;
    for (const VXManagedObjectPtr &object : *found)
        entries.append(entryWithoutPayload(*object));
    std::ranges::sort(entries, {}, &VXOutboxEntry::number);
    return entries;
}

std::optional<QStringList> VXOutbox::kindsBeingSent(VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    VXFetchRequest request(*_coordinator->model().entityForName(entityName));
    request.predicate = VXPredicate::comparison(u"state"_s, Operator::Equal, static_cast<int>(VXOutboxState::Sending));
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QStringList kinds;
    for (const VXManagedObjectPtr &object : *found)
        kinds.append(object->valueForKey(u"kind"_s).toString());
    kinds.removeDuplicates();
    return kinds;
}

std::optional<VXOutboxEntry> VXOutbox::entry(qint64 number, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr object = objectOf(context, number, error);
    return object ? std::optional(entryOf(*object)) : std::nullopt;
}

/** Saves changes to several entries at once, and announces them. */
class VXOutbox::Batch
{
public:
    explicit Batch(const VXPersistentStoreCoordinator::Ptr &coordinator) : _context(coordinator) {}

    /** @return why the change was refused; no error when it was applied. */
    VXError apply(VXOutboxChange change, qint64 number);
    /** Everything that waits for the destination and was added before that number becomes due with the save, too. */
    void askFor(const QString &kind, const QString &destination, qint64 before);
    bool save(VXError *error);
    void announce(VXOutboxChange change) const;

private:
    bool makeDue(VXError *error);

    VXManagedObjectContext _context;
    const QDateTime _now = QDateTime::currentDateTimeUtc();
    QMap<std::pair<QString, QString>, qint64> _asked; // by kind and destination
    QMap<QString, QVariantList> _changed;             // by kind
};

VXError VXOutbox::Batch::apply(VXOutboxChange change, qint64 number)
{
    VXError problem;
    const VXManagedObjectPtr object = neededObject(_context, number, &problem);
    if (!object)
        return problem;
    VXOutboxEntry entry = entryWithoutPayload(*object);
    if (entry.state == VXOutboxState::Sending)
        return VXMakeError(VXLocalizedString(u"It is just being sent."_s));
    if (change == VXOutboxChange::Dropped) {
        _context.deleteObject(object);
    } else if (entry.state == VXOutboxState::Sent) {
        return VXMakeError(VXLocalizedString(u"It has been sent already."_s));
    } else {
        entry.state = VXOutboxState::Queued;
        entry.nextDate = _now;
        entry.finishedDate = {};
        write(entry, *object);
        askFor(entry.kind, entry.destination, number);
    }
    _changed[entry.kind].append(number);
    return {};
}

void VXOutbox::Batch::askFor(const QString &kind, const QString &destination, qint64 before)
{
    qint64 &asked = _asked[{kind, destination}];
    asked = std::max(asked, before);
}

bool VXOutbox::Batch::makeDue(VXError *error)
{
    QStringList kinds;
    for (const auto &[kind, destination] : _asked.keys())
        kinds.append(kind);
    kinds.removeDuplicates();
    const auto found =
        _context.executeFetchRequest(requestForOpen(*_context.persistentStoreCoordinator(), kinds), error);
    if (!found)
        return false;
    for (const VXManagedObjectPtr &object : *found) {
        const VXOutboxEntry entry = entryWithoutPayload(*object);
        if (entry.number >= _asked.value({entry.kind, entry.destination}) || entry.state != VXOutboxState::Queued ||
            entry.nextDate <= _now)
            continue;
        object->setValueForKey(_now, u"nextDate"_s);
        _changed[entry.kind].append(entry.number);
    }
    return true;
}

bool VXOutbox::Batch::save(VXError *error)
{
    return (_asked.isEmpty() || makeDue(error)) && (_changed.isEmpty() || _context.save(error));
}

void VXOutbox::Batch::announce(VXOutboxChange change) const
{
    for (const auto &[kind, numbers] : _changed.asKeyValueRange())
        ::announce(change, kind, numbers);
}

// If a runner takes one of the entries meanwhile, the save conflicts: then all are checked once more.
std::optional<VXOutbox::Refusals> VXOutbox::change(const QList<qint64> &numbers, VXOutboxChange change,
                                                   VXError *error) const
{
    constexpr int maximumTries = 10;
    VXError problem;
    for (int tries = 0; tries < maximumTries; ++tries) {
        Batch batch(_coordinator);
        Refusals refusals;
        for (const qint64 number : numbers) {
            if (VXError refusal = batch.apply(change, number))
                refusals.insert(number, std::move(refusal));
        }
        problem = {};
        if (batch.save(&problem)) {
            batch.announce(change);
            return refusals;
        }
        if (problem.code() != static_cast<int>(VXObjectStoreErrorCode::MergeConflict))
            break;
    }
    VXSetError(error, problem);
    return std::nullopt;
}

bool VXOutbox::retry(qint64 number, VXError *error) const
{
    return isDone(retryAll({number}, error), error);
}

std::optional<VXOutbox::Refusals> VXOutbox::retryAll(const QList<qint64> &numbers, VXError *error) const
{
    return change(numbers, VXOutboxChange::Due, error);
}

bool VXOutbox::retryDestination(const QString &kind, const QString &destination, VXError *error) const
{
    Batch batch(_coordinator);
    batch.askFor(kind, destination, std::numeric_limits<qint64>::max());
    if (!batch.save(error))
        return false;
    batch.announce(VXOutboxChange::Due);
    return true;
}

bool VXOutbox::drop(qint64 number, VXError *error) const
{
    return isDone(dropAll({number}, error), error);
}

std::optional<VXOutbox::Refusals> VXOutbox::dropAll(const QList<qint64> &numbers, VXError *error) const
{
    return change(numbers, VXOutboxChange::Dropped, error);
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
        announce(VXOutboxChange::Updated, entry.kind, {entry.number});
    return isSaved;
}

QStringList VXOutbox::files() const
{
    const QString path = _coordinator->persistentStores().first()->path();
    return {path, path + "-wal"_L1};
}

bool VXOutbox::forgetSentBefore(const QDateTime &time, VXError *error) const
{
    VXManagedObjectContext context(_coordinator);
    VXFetchRequest request(*_coordinator->model().entityForName(entityName));
    request.predicate =
        VXPredicate::allOf({VXPredicate::comparison(u"state"_s, Operator::Equal, static_cast<int>(VXOutboxState::Sent)),
                            VXPredicate::comparison(VXExpression::keyPath(u"finishedDate"_s), Operator::Less,
                                                    VXExpression::constant(time))});
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return false;
    for (const VXManagedObjectPtr &object : *found)
        context.deleteObject(object);
    return found->isEmpty() || context.save(error);
}
