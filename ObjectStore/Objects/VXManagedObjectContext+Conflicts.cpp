#include "VXManagedObjectContextSave.h"

#include "VXRelatedSet.h"
#include "VXRowMerge.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

using StorePtr = VXPersistentStoreCoordinator::StorePtr;

namespace {

// Each further attempt is only needed if somebody else has saved meanwhile.
constexpr int maximumAttempts = 10;

QVariantMap storedValues(const VXEntityDescription &entity, const VXStoreRow &row)
{
    QVariantMap values;
    for (const VXPropertyDescription *const property : entity.properties()) {
        const VXRelationshipDescription *const relationship = property->asRelationship();
        if (!property->isTransient() && (relationship == nullptr || !relationship->isToMany()))
            values.insert(property->name(), row.value(property->index()));
    }
    return values;
}

QVariantList variants(const QList<VXManagedObjectID> &objectIDs)
{
    QVariantList list;
    for (const VXManagedObjectID &objectID : objectIDs)
        list.append(QVariant::fromValue(objectID));
    return list;
}

} // namespace

bool VXManagedObjectContext::Save::write(VXError *error)
{
    QList<VXRowConflict> conflicts;
    for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
        QHash<const VXStoreIdentity *, VXSaveRequest> requests;
        for (const Part &part : _parts) {
            if (!part.request.changes.isEmpty() || !part.request.links.isEmpty() || part.request.metadata)
                requests.insert(&part.store->identity(), part.request);
        }
        conflicts.clear();
        VXError problem;
        if (requests.isEmpty() || _context._coordinator->save(requests, &conflicts, &_saved, &problem))
            return true;
        if (conflicts.isEmpty()) {
            VXSetError(error, problem);
            return false;
        }
        if (!resolve(conflicts))
            break;
    }
    VXSetError(error, conflictError(conflicts));
    return false;
}

bool VXManagedObjectContext::Save::resolve(const QList<VXRowConflict> &conflicts)
{
    using Kind = VXRowConflict::Kind;
    QHash<ObjectID, VXStoreRow::Ptr> changed;
    QSet<ObjectID> gone;
    std::for_each(_parts.begin(), _parts.end(), notePlaces);
    for (const VXRowConflict &conflict : conflicts) {
        const auto isOfStore = [&](const Part &part) { return &part.store->identity() == conflict.objectID.store(); };
        Part &part = *std::find_if(_parts.begin(), _parts.end(), isOfStore);
        bool isResolved = true;
        switch (conflict.kind) {
        case Kind::Changed:
            changed.insert(conflict.objectID, conflict.stored);
            break;
        case Kind::Missing:
            gone.insert(conflict.objectID);
            break;
        case Kind::Referenced:
            isResolved = resolveReferenced(part, conflict);
            break;
        case Kind::OneSided:
            isResolved = resolveOneSided(part, conflict);
            break;
        }
        if (!isResolved)
            return false;
    }
    return std::all_of(_parts.begin(), _parts.end(), [&](Part &part) {
        if (!resolveMissing(part, gone) || !resolveChanged(part, changed))
            return false;
        restoreDeleted(part);
        const bool isResolved = std::all_of(_contested.cbegin(), _contested.cend(),
                                            [&](const Contested &contested) { return pairUp(part, contested); });
        removeDropped(part);
        return isResolved;
    });
}

bool VXManagedObjectContext::Save::resolveChanged(Part &part, const QHash<ObjectID, VXStoreRow::Ptr> &stored)
{
    for (qsizetype place = part.request.changes.size() - 1; place >= 0; --place) {
        const auto conflict = stored.constFind(part.request.changes[place].objectID);
        if (conflict == stored.cend() || placeOf(part, conflict.key()) != place)
            continue;
        if (part.objects[size_t(place)] != nullptr)
            _contested.push_back({conflict.key(), part.request.changes[place].row, *conflict});
        bool isDropped = part.objects[size_t(place)] == nullptr; // a delete rule is applied again to what is stored now
        if (!isDropped && !resolve(part, place, *conflict, &isDropped))
            return false;
        if (isDropped)
            drop(part, conflict.key());
    }
    return true;
}

// -- The changes of a part while conflicts are resolved: dropped changes keep their place until all are resolved

void VXManagedObjectContext::Save::notePlaces(Part &part)
{
    part.places.clear();
    part.places.reserve(part.request.changes.size());
    for (qsizetype place = 0; place < part.request.changes.size(); ++place)
        part.places.insert(part.request.changes[place].objectID, place);
}

qsizetype VXManagedObjectContext::Save::placeOf(const Part &part, const ObjectID &objectID)
{
    return part.places.value(objectID, -1);
}

// Adds a change that writes the object as stored, for the caller to modify.
qsizetype VXManagedObjectContext::Save::append(Part &part, const ObjectID &objectID, const VXStoreRow::Ptr &stored)
{
    const qsizetype place = part.request.changes.size();
    part.request.changes.append({objectID, stored->copy(stored->version() + 1), stored});
    part.objects.push_back(nullptr);
    part.places.insert(objectID, place);
    return place;
}

void VXManagedObjectContext::Save::drop(Part &part, const ObjectID &objectID)
{
    part.places.remove(objectID);
}

void VXManagedObjectContext::Save::removeDropped(Part &part)
{
    QList<VXRowChange> &changes = part.request.changes;
    if (part.places.size() == changes.size())
        return;
    qsizetype kept = 0;
    for (qsizetype place = 0; place < changes.size(); ++place) {
        VXManagedObject *const object = part.objects[size_t(place)];
        if (placeOf(part, changes[place].objectID) != place) {
            if (object != nullptr)
                _unwritten.push_back(object);
            continue;
        }
        if (kept != place) {
            changes[kept] = std::move(changes[place]);
            part.objects[size_t(kept)] = object;
        }
        ++kept;
    }
    changes.remove(kept, changes.size() - kept);
    part.objects.resize(size_t(kept));
}

bool VXManagedObjectContext::Save::resolve(Part &part, qsizetype place, const VXStoreRow::Ptr &stored, bool *isDropped)
{
    VXRowChange &change = part.request.changes[place];
    VXManagedObject *const object = part.objects[size_t(place)];
    const VXMergePolicy policy = _context._mergePolicy;
    const bool isDeletion = !change.row;
    *isDropped = isDeletion && !stored; // both sides deleted it
    if (*isDropped)
        return true;
    if (policy == VXMergePolicy::Error)
        return false;
    const bool storeTrumps = policy == VXMergePolicy::MergeByPropertyStoreTrumps;
    if (policy == VXMergePolicy::Rollback || (storeTrumps && (isDeletion || !stored))) {
        *isDropped = true;
    } else if (isDeletion) {
        change.base = stored;
    } else if (!stored) { // saved again as a new object
        change.base = nullptr;
        change.overwrites = true;
    } else {
        change.row = policy == VXMergePolicy::Overwrite
                         ? change.row->copy(stored->version() + 1)
                         : VXMergedRow(object->entity(), *change.base, *change.row, *stored, storeTrumps);
        change.base = stored;
        change.overwrites = false; // so that a further save by somebody else is not overwritten unnoticed
        change.changedProperties = VXChangedProperties(object->entity(), *stored, *change.row);
        *isDropped = change.changedProperties.isEmpty();
    }
    if (*isDropped)
        _yielding.push_back({object, stored});
    return true;
}

VXError VXManagedObjectContext::Save::conflictError(const QList<VXRowConflict> &conflicts) const
{
    QVariantList list;
    std::array<qsizetype, 4> counts = {}; // by kind
    for (const VXRowConflict &conflict : conflicts) {
        const ObjectPtr object = _context.objectWithID(conflict.objectID);
        const bool isChanged = conflict.kind == VXRowConflict::Kind::Changed;
        if (isChanged && (!object->_row || (object->isDeleted() && !conflict.stored))) // both sides deleted it
            continue;
        list.append(descriptionOf(conflict));
        ++counts.at(size_t(conflict.kind));
    }
    const std::array<QString, 4> texts{u"Somebody else has changed %1 of them."_s,
                                       u"Somebody else has deleted %1 that they lead to."_s,
                                       u"Objects that somebody else has saved lead to %1 that are to be deleted."_s,
                                       u"Somebody else has changed %1 that they lead or led to."_s};
    QStringList reasons;
    for (size_t kind = 0; kind < texts.size(); ++kind) {
        if (counts.at(kind) > 0)
            reasons.append(texts.at(kind).arg(counts.at(kind)));
    }
    QVariantMap userInfo =
        VXObjectStoreError(VXObjectStoreErrorCode::MergeConflict, u"The objects cannot be saved."_s, reasons.join(u' '))
            .userInfo();
    userInfo.insert(VXConflictListKey, list);
    return {VXCocoaErrorDomain, int(VXObjectStoreErrorCode::MergeConflict), userInfo};
}

// Includes to-many relationships that the context has read.
QVariantMap VXManagedObjectContext::Save::descriptionOf(const VXRowConflict &conflict) const
{
    const ObjectPtr object = _context.objectWithID(conflict.objectID);
    QVariantMap snapshot = object->_row ? storedValues(object->entity(), *object->_row) : QVariantMap();
    QVariantMap stored = conflict.stored ? storedValues(object->entity(), *conflict.stored) : QVariantMap();
    const StorePtr store = _context._coordinator->persistentStoreForIdentity(*conflict.objectID.store());
    if (object->_relatedSets) {
        for (const VXRelatedSet &set : *object->_relatedSets) {
            if (!set.isRead() || set.relationship().isTransient())
                continue;
            snapshot.insert(set.relationship().name(), variants(set.stored()));
            QSet<ObjectID> now;
            const auto note = [&now](const ObjectID &, const ObjectID &target) { now.insert(target); };
            if (conflict.stored && store && store->related({conflict.objectID}, set.relationship(), note, nullptr))
                stored.insert(set.relationship().name(), variants(now.values()));
        }
    }
    return {{u"object"_s, QVariant::fromValue(object)},
            {u"snapshot"_s, snapshot},
            {u"cachedRow"_s, conflict.stored ? stored : QVariant()}};
}
