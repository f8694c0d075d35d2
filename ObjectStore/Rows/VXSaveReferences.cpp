#include "VXSaveReferences.h"

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
    for (const VXRowChange &change : request.changes)
        add(change);
    complete(request);
}

void VXSaveReferences::add(const VXRowChange &change)
{
    if (change.row)
        addTargets(change);
    else
        addDeleted(change.objectID);
}

void VXSaveReferences::complete(const VXSaveRequest &request)
{
    for (const VXLinkChange &link : request.links) {
        if (link.added.isEmpty())
            continue;
        _targets.insert(link.source);
        for (const VXManagedObjectID &target : link.added)
            _targets.insert(target);
    }
    if (!_targets.isEmpty())
        removeWritten(request.changes);
}

// Mostly the targets have other entities than the written objects.
void VXSaveReferences::removeWritten(const QList<VXRowChange> &changes)
{
    QSet<const VXEntityDescription *> roots;
    for (const VXManagedObjectID &target : std::as_const(_targets))
        roots.insert(&target.entity().rootEntity());
    const VXEntityDescription *last = nullptr;
    bool isConcerned = false;
    for (const VXRowChange &change : changes) {
        if (const VXEntityDescription *const entity = &change.objectID.entity(); entity != last) {
            last = entity;
            isConcerned = roots.contains(&entity->rootEntity());
        }
        if (isConcerned && change.row && change.isWhole())
            _targets.remove(change.objectID);
    }
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

void VXSaveReferences::addTargets(const VXRowChange &change)
{
    lookAt(change.objectID.entity());
    const bool isNew = !change.base && !change.overwrites; // nothing stored refers to it
    for (const VXRelationshipDescription *const pair : std::as_const(_pairs)) {
        if (isNew ? change.row->target(pair->index()) != nullptr
                  : change.isWhole() || change.changedProperties.contains(pair->index()))
            _paired[pair].append(change.objectID);
    }
    for (const int index : std::as_const(_toOne)) {
        if (!change.isWhole() && !change.changedProperties.contains(index))
            continue;
        if (const VXManagedObjectID *const target = change.row->target(index); target != nullptr)
            _targets.insert(*target);
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
