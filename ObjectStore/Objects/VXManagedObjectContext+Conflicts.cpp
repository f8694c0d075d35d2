#include "VXManagedObjectContextSave.h"

#include "VXRowMerge.h"

using namespace Qt::StringLiterals;

namespace {

// Somebody else would have to save between each of these attempts.
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
        if (requests.isEmpty() || _context._coordinator->save(requests, &conflicts, &problem))
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
    QHash<ObjectID, VXStoreRow::Ptr> stored;
    for (const VXRowConflict &conflict : conflicts)
        stored.insert(conflict.objectID, conflict.stored);
    for (Part &part : _parts) {
        for (qsizetype place = part.request.changes.size() - 1; place >= 0; --place) {
            const auto conflict = stored.constFind(part.request.changes[place].objectID);
            if (conflict == stored.cend())
                continue;
            bool isDropped = false;
            if (!resolve(part, place, *conflict, &isDropped))
                return false;
            if (!isDropped)
                continue;
            part.request.changes.removeAt(place);
            part.objects.erase(part.objects.begin() + place);
        }
    }
    return true;
}

// False when it is for the user to decide.
bool VXManagedObjectContext::Save::resolve(Part &part, qsizetype place, const VXStoreRow::Ptr &stored, bool *isDropped)
{
    VXRowChange &change = part.request.changes[place];
    VXManagedObject *const object = part.objects[size_t(place)];
    const VXMergePolicy policy = _context._mergePolicy;
    const bool isDeletion = !change.row;
    *isDropped = isDeletion && !stored; // both wanted the same
    if (*isDropped)
        return true;
    if (policy == VXMergePolicy::Error)
        return false;
    const bool storeTrumps = policy == VXMergePolicy::MergeByPropertyStoreTrumps;
    if (policy == VXMergePolicy::Rollback || (storeTrumps && (isDeletion || !stored))) {
        *isDropped = true;
    } else if (isDeletion) {
        change.base = stored;
    } else if (!stored) { // saved anew
        change.base = nullptr;
        change.overwrites = true;
    } else {
        change.row = policy == VXMergePolicy::Overwrite
                         ? VXCopiedRow(*change.row, stored->version() + 1)
                         : VXMergedRow(object->entity(), *change.base, *change.row, *stored, storeTrumps);
        change.base = stored;
        change.overwrites = policy == VXMergePolicy::Overwrite;
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
    for (const VXRowConflict &conflict : conflicts) {
        const ObjectPtr object = _context.objectRegisteredForID(conflict.objectID);
        const bool isWantedByBoth = object && object->isDeleted() && !conflict.stored;
        if (!object || !object->_row || isWantedByBoth)
            continue;
        list.append(QVariantMap{
            {u"object"_s, QVariant::fromValue(object)},
            {u"snapshot"_s, storedValues(object->entity(), *object->_row)},
            {u"cachedRow"_s, conflict.stored ? storedValues(object->entity(), *conflict.stored) : QVariant()}});
    }
    QVariantMap userInfo = VXObjectStoreError(VXObjectStoreErrorCode::MergeConflict, u"The objects cannot be saved."_s,
                                              u"Somebody else has changed %1 of them."_s.arg(list.size()))
                               .userInfo();
    userInfo.insert(VXConflictListKey, list);
    return {VXCocoaErrorDomain, int(VXObjectStoreErrorCode::MergeConflict), userInfo};
}
