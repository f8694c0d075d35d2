#include "VXManagedObjectContext.h"

#include "VXDiagnostics.h"
#include "VXRelatedSet.h"

using namespace Qt::StringLiterals;

using StorePtr = VXPersistentStoreCoordinator::StorePtr;

namespace {

VXError detachedError()
{
    return VXObjectStoreError(VXObjectStoreErrorCode::InvalidStore, u"The objects cannot be read."_s,
                              u"Their store is not attached any more."_s);
}

} // namespace

bool VXManagedObjectContext::noteRead(bool isRead, const VXError &problem, VXError *error) const
{
    if (isRead)
        return true;
    if (!_failedRead)
        _failedRead = problem;
    VXSetError(error, problem);
    return false;
}

VXStoreRow::Ptr VXManagedObjectContext::readRow(const ObjectID &objectID, VXError *error) const
{
    if (objectID.isTemporary())
        return nullptr;
    const StorePtr store = _coordinator->persistentStoreForIdentity(*objectID.store());
    VXError problem = store ? VXError() : detachedError();
    VXStoreRow::Ptr row = store ? store->row(objectID, &problem) : nullptr;
    noteRead(!problem, problem, error);
    return row;
}

bool VXManagedObjectContext::readRows(const QList<ObjectID> &objectIDs,
                                      const std::function<void(const VXFetchedRow &)> &sink, VXError *error)
{
    VXError problem;
    const bool isRead = readRowsOf(objectIDs, sink, &problem);
    return noteRead(isRead, problem, error);
}

bool VXManagedObjectContext::readRowsOf(const QList<ObjectID> &objectIDs,
                                        const std::function<void(const VXFetchedRow &)> &sink, VXError *error)
{
    const auto keepAndHandOver = [&](const VXFetchedRow &fetched) {
        if (_largestKeptRow > 0 && fetched.row->allocatedBytes() <= _largestKeptRow)
            _keptRows.insert(fetched.objectID, fetched.row);
        sink(fetched);
    };
    QHash<const VXStoreIdentity *, QList<ObjectID>> groups;
    for (const ObjectID &objectID : objectIDs) {
        if (!objectID.isTemporary())
            groups[objectID.store()].append(objectID);
    }
    for (auto group = groups.cbegin(); group != groups.cend(); ++group) {
        const StorePtr store = _coordinator->persistentStoreForIdentity(*group.key());
        if (!store) {
            VXSetError(error, detachedError());
            return false;
        }
        if (!store->rows(*group, keepAndHandOver, error))
            return false;
    }
    return true;
}

bool VXManagedObjectContext::storedRows(const QList<ObjectID> &objectIDs,
                                        const std::function<void(const VXFetchedRow &)> &sink, VXError *error)
{
    QList<ObjectID> unread;
    for (const ObjectID &objectID : objectIDs) {
        if (VXStoreRow::Ptr kept = _keptRows.find(objectID))
            sink({objectID, std::move(kept)});
        else
            unread.append(objectID);
    }
    return unread.isEmpty() || readRows(unread, sink, error);
}

// The ID may have the wrong entity; then the row has other properties.
bool VXManagedObjectContext::adoptRow(VXManagedObject &object, VXStoreRow::Ptr row)
{
    if (row->propertyCount() != object.entity().properties().size())
        return false;
    object.setStoredRow(std::move(row));
    object.awakeFromFetch();
    return true;
}

VXManagedObjectPtr VXManagedObjectContext::objectForRow(VXFetchedRow fetched, bool refreshes)
{
    VXManagedObjectPtr object = objectWithID(fetched.objectID);
    if (!fetched.row)
        return object;
    if (object->isFault())
        adoptRow(*object, std::move(fetched.row));
    else if (refreshes && !object->hasChanges() && object->_row->version() != fetched.row->version())
        rebase(*object, fetched.row);
    return object;
}

bool VXManagedObjectContext::readFault(VXManagedObject &object, VXError *error)
{
    VXStoreRow::Ptr row = readRow(object.objectID(), error);
    return row && adoptRow(object, std::move(row));
}

bool VXManagedObjectContext::fulfillFault(VXManagedObject &object)
{
    VXError error;
    if (readFault(object, &error))
        return true;
    if (error)
        VXReportDiagnostic(
            3, u"%1 cannot be read: %2"_s.arg(object.objectID().uriRepresentation().toString(), error.description()));
    return false;
}

bool VXManagedObjectContext::fulfillFaults(const QList<ObjectPtr> &objects, VXError *error)
{
    QList<ObjectID> objectIDs;
    for (const ObjectPtr &object : objects) {
        if (object && object->isFault())
            objectIDs.append(object->objectID());
    }
    QList<VXFetchedRow> rows; // all rows first, since objects that awake may read others
    rows.reserve(objectIDs.size());
    if (!storedRows(
            objectIDs, [&rows](const VXFetchedRow &row) { rows.append(row); }, error))
        return false;
    for (const VXFetchedRow &row : std::as_const(rows)) {
        if (const ObjectPtr object = objectRegisteredForID(row.objectID); object && object->isFault())
            adoptRow(*object, row.row);
    }
    return true;
}

bool VXManagedObjectContext::readRelated(const QList<ObjectPtr> &objects, const Relationship &relationship,
                                         VXError *error)
{
    VXError problem;
    const bool isRead = readRelatedOf(objects, relationship, &problem);
    return noteRead(isRead, problem, error);
}

bool VXManagedObjectContext::readRelatedOf(const QList<ObjectPtr> &objects, const Relationship &relationship,
                                           VXError *error)
{
    QHash<const VXStoreIdentity *, QList<ObjectID>> sources;
    for (const ObjectPtr &object : objects) {
        if (object->_context != this)
            continue;
        VXRelatedSet &set = object->relatedSet(relationship);
        if (set.isRead())
            continue;
        if (object->isInserted() || object->objectID().isTemporary()) {
            set.setRead(); // no store knows it
            continue;
        }
        sources[object->objectID().store()].append(object->objectID());
    }
    for (auto group = sources.cbegin(); group != sources.cend(); ++group) {
        const StorePtr store = _coordinator->persistentStoreForIdentity(*group.key());
        if (!store) {
            VXSetError(error, detachedError());
            return false;
        }
        const auto note = [&](const ObjectID &source, const ObjectID &target) {
            _objects.find(source)->relatedSet(relationship).noteStored(target);
        };
        const bool isRead = store->related(*group, relationship, note, error);
        for (const ObjectID &objectID : *group) {
            VXRelatedSet &set = _objects.find(objectID)->relatedSet(relationship);
            if (isRead)
                set.setRead();
            else
                set.forgetStored();
        }
        if (!isRead)
            return false;
    }
    return true;
}

bool VXManagedObjectContext::prefetch(const QList<ObjectPtr> &objects, const Relationship &relationship,
                                      QList<ObjectPtr> *held, VXError *error)
{
    const int index = relationship.index();
    const bool isRead =
        relationship.isToMany() ? readRelated(objects, relationship, error) : fulfillFaults(objects, error);
    if (!isRead)
        return false;
    QSet<ObjectPtr> targets;
    for (const ObjectPtr &object : objects) {
        const QList<ObjectPtr> related =
            relationship.isToMany() ? object->relatedObjects(index) : QList{object->related(index)};
        for (const ObjectPtr &target : related) {
            if (target)
                targets.insert(target);
        }
    }
    held->append(targets.values());
    return fulfillFaults(*held, error);
}
