#include "VXManagedObjectContext.h"

#include "VXEntityPredicate.h"
#include "VXException.h"
#include "VXObjectPredicate.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using StorePtr = VXPersistentStoreCoordinator::StorePtr;

/** One fetch or count: the results of the stores, corrected by the context's unsaved changes. */
class VXManagedObjectContext::Fetch
{
public:
    Fetch(VXManagedObjectContext &context, const VXFetchRequest &request);

    std::optional<VXFetchResult> run(VXError *error);
    std::optional<qsizetype> count(VXError *error);

private:
    void findPending();
    bool isWanted(const VXManagedObject &object) const;
    bool readStores(bool needsRows, bool makesObjects, VXError *error);
    std::optional<qsizetype> countStores(bool *isExact, VXError *error) const;
    bool makeObjects(VXError *error);
    bool keepMatching(QList<ObjectPtr> &objects, VXError *error) const;
    bool keepPending(VXError *error);
    QVariant inContext(const QVariant &constant) const;
    qsizetype cut(qsizetype count) const;

    VXManagedObjectContext &_context;
    const VXFetchRequest &_request;
    const QList<StorePtr> _stores;
    VXFetchRequest _stored;             // the request for the stores
    QList<ObjectPtr> _pending;          // inserted and updated objects that may match
    qsizetype _uncertain = 0;           // at most so many of the stored objects may not match any more
    bool _isDecided = true;             // the stores have decided on objects, order, limit and offset
    bool _isExact = true;               // the stores have evaluated the whole predicate
    QList<VXFetchedRow> _rows;          // of the stores
    QList<ObjectPtr> _objects;          // the result
    QList<ObjectID> *_walked = nullptr; // IDs of the result, if it is read in batches
};

VXManagedObjectContext::Fetch::Fetch(VXManagedObjectContext &context, const VXFetchRequest &request)
    : _context(context), _request(request), _stores(context._coordinator->persistentStores()), _stored(request)
{
    VXAssert(&request.entity().model() == &context._coordinator->model(),
             u"entity \"%1\" is not of the coordinator's model"_s.arg(request.entity().name()));
    _stored.predicate = VXPredicateWithIDs(request.predicate);
    if (request.includesPendingChanges && context.hasChanges())
        findPending();
    _isDecided = _stores.size() == 1 && _pending.isEmpty() && _uncertain == 0;
    if (_isDecided)
        return;
    _stored.offset = 0;
    if (request.limit > 0)
        _stored.limit = request.offset + request.limit + _uncertain;
}

bool VXManagedObjectContext::Fetch::isWanted(const VXManagedObject &object) const
{
    return &object.entity() == &_request.entity() ||
           (_request.includesSubentities && object.entity().isKindOfEntity(_request.entity()));
}

void VXManagedObjectContext::Fetch::findPending()
{
    const auto addPending = [this](const ObjectPtr &object) {
        if (isWanted(*object))
            _pending.append(object);
    };
    _context._updated.forEach(addPending);
    _uncertain = _pending.size();
    _context._inserted.forEach(addPending);
    _context._deleted.forEach([this](const ObjectPtr &object) { _uncertain += isWanted(*object) ? 1 : 0; });
}

// Results that the stores have decided become objects or IDs at once, if wanted; others are kept as rows.
bool VXManagedObjectContext::Fetch::readStores(bool needsRows, bool makesObjects, VXError *error)
{
    for (const StorePtr &store : _stores) {
        const std::unique_ptr<VXRowCursor> rows = store->fetch(_stored, needsRows, error);
        if (!rows)
            return false;
        const bool isDecided = _isDecided && rows->isExact();
        VXFetchedRow row;
        VXRowCursor::Step at = rows->next(&row, error);
        for (; at == VXRowCursor::Step::Row; at = rows->next(&row, error)) {
            if (makesObjects && isDecided)
                _objects.append(_context.objectForRow(std::move(row), _request.refreshesObjects));
            else if (_walked != nullptr && isDecided)
                _walked->append(row.objectID);
            else
                _rows.append(std::move(row));
        }
        if (at == VXRowCursor::Step::Failed)
            return false;
        _isExact = _isExact && rows->isExact();
    }
    _isDecided = _isDecided && _isExact;
    return true;
}

// Replaces IDs by objects, which is what relationships lead to.
QVariant VXManagedObjectContext::Fetch::inContext(const QVariant &constant) const
{
    if (constant.metaType() != QMetaType::fromType<ObjectID>())
        return constant;
    const auto objectID = constant.value<ObjectID>();
    return objectID.isNull() ? QVariant() : QVariant::fromValue(_context.objectWithID(objectID));
}

bool VXManagedObjectContext::Fetch::keepMatching(QList<ObjectPtr> &objects, VXError *error) const
{
    const VXPredicate predicate =
        VXPredicateWithConstants(_request.predicate, [this](const QVariant &value) { return inContext(value); });
    if (predicate.kind() == VXPredicate::Kind::True)
        return true;
    if (!_context.fulfillFaults(objects, error))
        return false;
    objects.removeIf(
        [&predicate](const ObjectPtr &object) { return !predicate.evaluateWithObject(QVariant::fromValue(object)); });
    return true;
}

// Drops objects that no longer exist, or whose only change is that nothing refers to them any more.
bool VXManagedObjectContext::Fetch::keepPending(VXError *error)
{
    if (!_context.fulfillFaults(_pending, error))
        return false;
    _pending.removeIf([](const ObjectPtr &object) { return object->isFault(); });
    return keepMatching(_pending, error);
}

bool VXManagedObjectContext::Fetch::makeObjects(VXError *error)
{
    if (_isDecided && _rows.isEmpty())
        return true;
    const bool hasPending = !_pending.isEmpty() || _uncertain > 0;
    _objects.reserve(_objects.size() + _rows.size() + _pending.size());
    for (VXFetchedRow &row : _rows) {
        ObjectPtr object = _context.objectForRow(std::move(row), _request.refreshesObjects);
        if (!hasPending || !object->hasChanges())
            _objects.append(std::move(object));
    }
    _rows.clear();
    if (_isDecided)
        return true;
    if ((!_isExact && !keepMatching(_objects, error)) || !keepPending(error))
        return false;
    _objects.append(_pending);
    if (!_request.sortDescriptors.isEmpty()) {
        if (!_context.fulfillFaults(_objects, error))
            return false;
        VXSortObjects(_objects, _request.sortDescriptors);
    }
    const qsizetype count = cut(_objects.size());
    _objects = _objects.mid(_request.offset, count);
    return true;
}

std::optional<VXFetchResult> VXManagedObjectContext::Fetch::run(VXError *error)
{
    VXFetchResult result(_context, _request);
    const bool isWalked = _request.batchSize > 0; // only one batch is in memory at a time
    const bool isSorted = !_isDecided && !_request.sortDescriptors.isEmpty();
    _walked = isWalked ? &result._objectIDs : nullptr;
    if (!readStores(isSorted || (_request.includesPropertyValues && !isWalked), !isWalked, error))
        return std::nullopt;
    if (isWalked && _isDecided)
        return result;
    if (!makeObjects(error) || !result.setObjects(_objects, error))
        return std::nullopt;
    return result;
}

std::optional<qsizetype> VXManagedObjectContext::Fetch::countStores(bool *isExact, VXError *error) const
{
    qsizetype sum = 0;
    for (const StorePtr &store : _stores) {
        VXError problem;
        const std::optional<qint64> count = store->count(_stored, &problem);
        *isExact = *isExact && (count || problem);
        if (problem)
            VXSetError(error, problem);
        if (!count)
            return std::nullopt;
        sum += qsizetype(*count);
    }
    return _stores.size() == 1 ? sum : cut(sum);
}

std::optional<qsizetype> VXManagedObjectContext::Fetch::count(VXError *error)
{
    const bool hasPending = !_pending.isEmpty() || _uncertain > 0;
    if (!hasPending) {
        bool isExact = true;
        const std::optional<qsizetype> count = countStores(&isExact, error);
        if (isExact)
            return count;
    }
    if (!readStores(!hasPending, false, error)) // without unsaved changes, the stores cannot evaluate this count
        return std::nullopt;
    if (!_isExact)
        return makeObjects(error) ? std::optional(_objects.size()) : std::nullopt;
    if (!keepPending(error))
        return std::nullopt;
    const auto isUnchanged = [this](const VXFetchedRow &row) {
        const VXManagedObject *const object = _context._objects.find(row.objectID);
        return object == nullptr || !object->hasChanges();
    };
    return cut(std::count_if(_rows.cbegin(), _rows.cend(), isUnchanged) + _pending.size());
}

// How many of so many objects are within offset and limit.
qsizetype VXManagedObjectContext::Fetch::cut(qsizetype count) const
{
    const qsizetype rest = std::max<qsizetype>(0, count - _request.offset);
    return _request.limit > 0 ? std::min(_request.limit, rest) : rest;
}

std::optional<VXFetchResult> VXManagedObjectContext::executeFetchRequest(const VXFetchRequest &request, VXError *error)
{
    if (const QString problem = VXSortProblem(request.sortDescriptors, request.entity()); !problem.isNull()) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::InvalidValue, u"The objects cannot be sorted."_s,
                                                 problem));
        return std::nullopt;
    }
    VXError problem;
    std::optional<VXFetchResult> result = Fetch(*this, request).run(&problem);
    noteRead(result.has_value(), problem, error);
    return result;
}

std::optional<qsizetype> VXManagedObjectContext::countForFetchRequest(const VXFetchRequest &request, VXError *error)
{
    VXFetchRequest unordered = request;
    unordered.sortDescriptors.clear();
    VXError problem;
    const std::optional<qsizetype> count = Fetch(*this, unordered).count(&problem);
    noteRead(count.has_value(), problem, error);
    return count;
}
