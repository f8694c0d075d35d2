#include "VXManagedObjectContextSave.h"

#include "VXSaveReferences.h"

#include <algorithm>

// False when one of the references is mandatory.
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

// Clears the end of a pair whose other end has a new partner. False when it is mandatory.
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

// The change of the object; if it has none, adds one that writes it as stored.
VXRowChange &VXManagedObjectContext::Save::changeOf(Part &part, const ObjectID &objectID, const VXStoreRow::Ptr &stored)
{
    qsizetype place = placeOf(part, objectID);
    if (place < 0) {
        place = append(part, objectID, stored);
        _refreshed.insert(objectID);
    }
    return part.request.changes[place];
}

// The context has an outdated value of one end and did not change it, while somebody else gave it a new partner: that
// end follows. If the store's changes win, it only lets go.
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

// The final partner of a contested object is known now: makes others that refer to it refer elsewhere, and its partner
// refer back. Since both ends of a pair are written together, only contested objects can be inconsistent.
bool VXManagedObjectContext::Save::pairUp(Part &part, const Contested &contested)
{
    if (contested.objectID.store() != &part.store->identity())
        return true;
    const VXStoreRow::Ptr now = rowToBe(part, contested.objectID);
    if (!now) // deleted: every save finds references to it
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

// -- Objects that no longer exist

// Removes references to objects that somebody else has deleted.
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

// Somebody else has made an object refer to one that the context deletes. If the store's changes win, that one is kept;
// otherwise the delete rule is applied to the referring object.
bool VXManagedObjectContext::Save::resolveReferenced(Part &part, const VXRowConflict &conflict)
{
    const VXMergePolicy policy = _context._mergePolicy;
    const qsizetype place = placeOf(part, conflict.objectID);
    if (policy == VXMergePolicy::Error)
        return false;
    if (policy == VXMergePolicy::Rollback || policy == VXMergePolicy::MergeByPropertyStoreTrumps) {
        if (place < 0) // it is kept because of another relationship
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

// False when the rule forbids the deletion.
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
