#include "VXManagedObjectContextSave.h"

#include "VXRowMerge.h"

#include <algorithm>

qsizetype VXManagedObjectContext::Save::placeOf(const Part &part, const ObjectID &objectID)
{
    const auto found = std::find_if(part.request.changes.cbegin(), part.request.changes.cend(),
                                    [&](const VXRowChange &change) { return change.objectID == objectID; });
    return found == part.request.changes.cend() ? -1 : found - part.request.changes.cbegin();
}

// False when one of them is mandatory.
bool VXManagedObjectContext::Save::removeReferences(VXRowChange &change, const ObjectID &target)
{
    std::shared_ptr<VXStoreRow> row;
    for (const Relationship *const relationship : change.objectID.entity().relationships()) {
        const ObjectID *const to = change.row ? change.row->target(relationship->index()) : nullptr;
        if (to == nullptr || *to != target)
            continue;
        if (!relationship->isOptional())
            return false;
        if (!row)
            row = change.row->copy(change.row->version());
        row->value(relationship->index()).clear();
        if (!change.changedProperties.contains(relationship->index()))
            change.changedProperties.append(relationship->index());
    }
    if (row)
        change.row = row;
    return true;
}

// What the context lets lead to an object that somebody else has deleted leads nowhere, as if it had done so before.
bool VXManagedObjectContext::Save::resolveMissing(Part &part, const ObjectID &gone)
{
    if (_context._mergePolicy == VXMergePolicy::Error)
        return false;
    for (VXRowChange &change : part.request.changes) {
        if (!removeReferences(change, gone))
            return false;
    }
    for (VXLinkChange &link : part.request.links) {
        if (link.source == gone)
            link.added.clear();
        else
            link.added.removeAll(gone);
    }
    _gone.insert(gone);
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
        part.request.changes.removeAt(place);
        part.objects.erase(part.objects.begin() + place);
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
    if (place < 0) {
        place = part.request.changes.size();
        part.request.changes.append(
            {source, reference.source.row->copy(reference.source.row->version() + 1), reference.source.row});
        part.objects.push_back(nullptr);
    }
    VXRowChange &change = part.request.changes[place];
    switch (reference.relationship->inverse()->deleteRule()) {
    case VXDeleteRule::Nullify:
        _refreshed.insert(source);
        return removeReferences(change, deleted);
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
