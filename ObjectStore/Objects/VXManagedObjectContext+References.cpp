#include "VXManagedObjectContextSave.h"

#include "VXSaveReferences.h"

#include <algorithm>

// False when one of them is mandatory.
bool VXManagedObjectContext::Save::removeReferences(VXRowChange &change, const QSet<ObjectID> &targets)
{
    std::shared_ptr<VXStoreRow> row;
    for (const Relationship *const relationship : change.objectID.entity().relationships()) {
        const ObjectID *const to = change.row ? change.row->target(relationship->index()) : nullptr;
        if (to == nullptr || !targets.contains(*to))
            continue;
        if (!relationship->isOptional())
            return false;
        if (!row)
            row = change.row->copy(change.row->version());
        row->clear(relationship->index());
        if (!change.changedProperties.contains(relationship->index()))
            change.changedProperties.append(relationship->index());
    }
    if (row)
        change.row = row;
    return true;
}

// -- Relationships that are to-one at both ends

bool VXManagedObjectContext::Save::leadsTo(const VXStoreRow &row, const Relationship &relationship,
                                           const ObjectID &objectID)
{
    const ObjectID *const target = row.target(relationship.index());
    return target != nullptr && *target == objectID;
}

void VXManagedObjectContext::Save::setTarget(VXRowChange &change, const Relationship &relationship,
                                             const QVariant &target)
{
    auto row = change.row->copy(change.row->version());
    row->setValue(relationship.index(), target);
    change.row = row;
    if (!change.changedProperties.contains(relationship.index()))
        change.changedProperties.append(relationship.index());
}

VXStoreRow::Ptr VXManagedObjectContext::Save::rowToBe(const Part &part, const ObjectID &objectID) const
{
    const qsizetype place = placeOf(part, objectID);
    return place < 0 ? part.store->row(objectID, nullptr) : part.request.changes[place].row;
}

bool VXManagedObjectContext::Save::leadsBack(const Part &part, const ObjectID &objectID,
                                             const Relationship &relationship) const
{
    const VXStoreRow::Ptr row = rowToBe(part, objectID);
    const ObjectID *const target = row ? row->target(relationship.index()) : nullptr;
    const VXStoreRow::Ptr there = target == nullptr ? nullptr : rowToBe(part, *target);
    return target == nullptr || (there && leadsTo(*there, *relationship.inverse(), objectID));
}

// An end of a pair that the other end has left. False when it is mandatory.
bool VXManagedObjectContext::Save::unpair(Part &part, const ObjectID &objectID, const Relationship &relationship,
                                          const ObjectID &from)
{
    const VXStoreRow::Ptr row = rowToBe(part, objectID);
    if (!row || !leadsTo(*row, relationship, from))
        return true;
    if (!relationship.isOptional())
        return false;
    setTarget(changeOf(part, objectID, row), relationship, {});
    return true;
}

// One of those that are written; else it joins them, as it is stored.
VXRowChange &VXManagedObjectContext::Save::changeOf(Part &part, const ObjectID &objectID, const VXStoreRow::Ptr &stored)
{
    qsizetype place = placeOf(part, objectID);
    if (place < 0) {
        place = append(part, objectID, stored);
        _refreshed.insert(objectID);
    }
    return part.request.changes[place];
}

// The context knew one end as it was before somebody else paired it anew, and did not change it: that end follows. Where the
// store's changes count, it follows only to let go.
bool VXManagedObjectContext::Save::resolveOneSided(Part &part, const VXRowConflict &conflict)
{
    const VXMergePolicy policy = _context._mergePolicy;
    if (policy == VXMergePolicy::Error)
        return false;
    const VXRowReference &reference = conflict.references.constFirst();
    const ObjectID &source = reference.source.objectID;
    const ObjectID target = *reference.source.row->target(reference.relationship->index());
    const bool isWanted = policy == VXMergePolicy::MergeByPropertyObjectTrumps || policy == VXMergePolicy::Overwrite;
    if (!isWanted || placeOf(part, target) >= 0)
        return unpair(part, source, *reference.relationship, target);
    setTarget(changeOf(part, target, conflict.stored), *reference.relationship->inverse(), QVariant::fromValue(source));
    return true;
}

// Which partner a contested object has is decided by now. Those that it has not lead elsewhere, and the one that it has leads
// back. Both ends of a pair are written together, so that only what is contested can come apart.
bool VXManagedObjectContext::Save::pairUp(Part &part, const Contested &contested)
{
    if (contested.objectID.store() != &part.store->identity())
        return true;
    const VXStoreRow::Ptr now = rowToBe(part, contested.objectID);
    if (!now) // deleted: what leads there is found by every save
        return true;
    for (const Relationship *const relationship : contested.objectID.entity().relationships()) {
        if (!VXIsPair(*relationship) || !VXMustLeadSomewhere(*relationship))
            continue;
        const Relationship &inverse = *relationship->inverse();
        const ObjectID *const partner = now->target(relationship->index());
        const bool isTheirs =
            partner != nullptr && contested.stored && leadsTo(*contested.stored, *relationship, *partner);
        const qsizetype place = isTheirs ? placeOf(part, *partner) : -1;
        if (place >= 0 && part.request.changes[place].row &&
            !leadsTo(*part.request.changes[place].row, inverse, contested.objectID)) {
            VXRowChange &change = part.request.changes[place];
            const ObjectID *const left = change.row->target(inverse.index());
            if (left != nullptr && !unpair(part, ObjectID(*left), *relationship, *partner))
                return false;
            setTarget(part.request.changes[place], inverse, QVariant::fromValue(contested.objectID));
        }
        for (const VXStoreRow::Ptr &row : {contested.own, contested.stored}) {
            const ObjectID *const left = row ? row->target(relationship->index()) : nullptr;
            if (left != nullptr && (partner == nullptr || *left != *partner) &&
                !unpair(part, *left, inverse, contested.objectID))
                return false;
        }
        if (!leadsBack(part, contested.objectID, *relationship) &&
            !unpair(part, contested.objectID, *relationship, *partner))
            return false;
    }
    return true;
}

// -- Objects that are gone

// What the context lets lead to objects that somebody else has deleted leads nowhere, as if it had done so before.
bool VXManagedObjectContext::Save::resolveMissing(Part &part, const QSet<ObjectID> &gone)
{
    if (gone.isEmpty())
        return true;
    if (_context._mergePolicy == VXMergePolicy::Error)
        return false;
    for (qsizetype place = 0; place < part.request.changes.size(); ++place) {
        VXRowChange &change = part.request.changes[place];
        if (placeOf(part, change.objectID) == place && !removeReferences(change, gone))
            return false;
    }
    for (VXLinkChange &link : part.request.links) {
        if (gone.contains(link.source))
            link.added.clear();
        else
            link.added.removeIf([&](const ObjectID &target) { return gone.contains(target); });
    }
    _gone.unite(gone);
    return true;
}

// Somebody else has let an object lead to one that the context deletes. Where the store's changes count, it stays; else the
// delete rule holds for that object too.
bool VXManagedObjectContext::Save::resolveReferenced(Part &part, const VXRowConflict &conflict)
{
    const VXMergePolicy policy = _context._mergePolicy;
    const qsizetype place = placeOf(part, conflict.objectID);
    if (policy == VXMergePolicy::Error)
        return false;
    if (policy == VXMergePolicy::Rollback || policy == VXMergePolicy::MergeByPropertyStoreTrumps) {
        if (place < 0) // it stays because of another relationship
            return true;
        _yielding.push_back({part.objects[size_t(place)], conflict.stored});
        _contested.push_back({conflict.objectID, nullptr, conflict.stored});
        drop(part, conflict.objectID);
        return true;
    }
    return std::all_of(conflict.references.cbegin(), conflict.references.cend(), [&](const VXRowReference &reference) {
        return applyDeleteRule(part, conflict.objectID, reference);
    });
}

// False when it does not allow the deletion.
bool VXManagedObjectContext::Save::applyDeleteRule(Part &part, const ObjectID &deleted, const VXRowReference &reference)
{
    const ObjectID &source = reference.source.objectID;
    qsizetype place = placeOf(part, source);
    if (place < 0)
        place = append(part, source, reference.source.row);
    VXRowChange &change = part.request.changes[place];
    switch (reference.relationship->inverse()->deleteRule()) {
    case VXDeleteRule::Nullify:
        _refreshed.insert(source);
        return removeReferences(change, {deleted});
    case VXDeleteRule::Cascade:
        change.row.reset();
        change.overwrites = false;
        part.objects[size_t(place)] = nullptr;
        _gone.insert(source);
        return true;
    case VXDeleteRule::Deny:
    case VXDeleteRule::NoAction:
        break;
    }
    return false;
}
