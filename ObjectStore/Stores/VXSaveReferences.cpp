#include "VXSaveReferences.h"

namespace {

// Then the row is written whole, whatever the store held.
bool isWhole(const VXRowChange &change)
{
    return !change.base || change.overwrites;
}

} // namespace

bool VXMustLeadSomewhere(const VXRelationshipDescription &relationship)
{
    if (relationship.isTransient() || relationship.inverse() == nullptr)
        return false;
    return relationship.isToMany() ? relationship.isManyToMany()
                                   : relationship.inverse()->deleteRule() != VXDeleteRule::NoAction;
}

bool VXIsPair(const VXRelationshipDescription &relationship)
{
    return !relationship.isTransient() && !relationship.isToMany() && relationship.inverse() != nullptr &&
           !relationship.inverse()->isToMany();
}

VXSaveReferences::VXSaveReferences(const VXSaveRequest &request)
{
    Rows whole; // what the save writes, whatever was there: mostly what others of it lead to
    for (const VXRowChange &change : request.changes) {
        if (change.row && isWhole(change))
            whole.insert(change.objectID, change.row.get());
    }
    for (const VXRowChange &change : request.changes) {
        if (change.row)
            addTargets(change, whole);
        else
            addDeleted(change.objectID);
    }
    for (const VXLinkChange &link : request.links) {
        if (link.added.isEmpty())
            continue;
        addTarget(link.source, whole);
        for (const VXManagedObjectID &target : link.added)
            addTarget(target, whole);
    }
}

void VXSaveReferences::addTarget(const VXManagedObjectID &target, const Rows &whole)
{
    if (whole.find(target) == nullptr)
        _targets.insert(target);
}

void VXSaveReferences::lookAt(const VXEntityDescription &entity)
{
    if (_entity == &entity)
        return;
    _entity = &entity;
    _toOne.clear();
    _pairs.clear();
    for (const VXRelationshipDescription *const relationship : entity.relationships()) {
        if (!relationship->isToMany() && VXMustLeadSomewhere(*relationship))
            _toOne.append(relationship->index());
        if (VXIsPair(*relationship))
            _pairs.append(relationship);
    }
}

void VXSaveReferences::addTargets(const VXRowChange &change, const Rows &whole)
{
    lookAt(change.objectID.entity());
    const bool isNew = !change.base && !change.overwrites; // nothing that was there before leads to it
    for (const VXRelationshipDescription *const pair : std::as_const(_pairs)) {
        if (isNew ? change.row->target(pair->index()) != nullptr
                  : isWhole(change) || change.changedProperties.contains(pair->index()))
            _paired[pair].append(change.objectID);
    }
    for (const int index : std::as_const(_toOne)) {
        const VXManagedObjectID *const target = change.row->target(index);
        if (target != nullptr && (isWhole(change) || change.changedProperties.contains(index)))
            addTarget(*target, whole);
    }
}

void VXSaveReferences::addDeleted(const VXManagedObjectID &objectID)
{
    for (const VXRelationshipDescription *const relationship : objectID.entity().relationships()) {
        const VXRelationshipDescription *const inverse = relationship->inverse();
        if (inverse != nullptr && !inverse->isToMany() && VXMustLeadSomewhere(*inverse))
            _deleted[relationship].append(objectID);
        if (!relationship->isTransient() && relationship->isManyToMany() &&
            relationship->deleteRule() == VXDeleteRule::Deny)
            _denying[relationship].append(objectID);
    }
}
