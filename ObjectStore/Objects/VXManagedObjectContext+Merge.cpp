#include "VXManagedObjectContext.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXRelatedSet.h"
#include "VXRowMerge.h"

#include <algorithm>

using namespace Qt::StringLiterals;

void VXManagedObjectContext::refreshObject(const VXManagedObjectPtr &object, bool mergeChanges)
{
    VXAssert(object && object->_context == this, u"an object can be refreshed in its own context only"_s);
    if (object->isInserted())
        return;
    if (object->hasChanges())
        noteForObservers(*object);
    else
        noteRefreshed(*object);
    if (!mergeChanges) {
        dropChanges(object);
        return;
    }
    VXError error;
    if (const VXStoreRow::Ptr stored = readRow(object->objectID(), &error); stored)
        rebase(*object, stored);
    else if (error)
        VXReportDiagnostic(
            3, u"%1 cannot be read: %2"_s.arg(object->objectID().uriRepresentation().toString(), error.description()));
    else if (!object->hasChanges())
        turnIntoFault(*object);
    forgetRelated(*object);
}

void VXManagedObjectContext::mergeChanges(const QList<VXManagedObjectID> &inserted,
                                          const QList<VXManagedObjectID> &updated,
                                          const QList<VXManagedObjectID> &deleted)
{
    QList<ObjectID> changedHere; // and in the other context
    for (const ObjectID &objectID : inserted + updated) {
        const ObjectPtr object = objectRegisteredForID(objectID);
        if (!object)
            continue;
        noteForObservers(*object);
        if (object->hasChanges())
            changedHere.append(objectID);
        else
            turnIntoFault(*object);
    }
    VXError error;
    QList<VXFetchedRow> rows;
    const auto note = [&rows](const VXFetchedRow &row) { rows.append(row); };
    if (!readRows(changedHere, note, &error))
        VXReportDiagnostic(3, u"Changes cannot be merged: %1"_s.arg(error.description()));
    for (const VXFetchedRow &row : std::as_const(rows)) {
        const ObjectPtr object = objectRegisteredForID(row.objectID);
        rebase(*object, row.row);
        forgetRelated(*object);
    }
    for (const ObjectID &objectID : deleted) {
        const ObjectPtr object = objectRegisteredForID(objectID);
        if (!object || object->isDeleted() || (object->isUpdated() && object->_values))
            continue; // changes of other objects' references are no change of this object, nor are transient values
        noteForObservers(*object);
        forget(object);
    }
    processPendingChanges();
}

void VXManagedObjectContext::forgetRelated(VXManagedObject &object)
{
    if (!object._relatedSets)
        return;
    std::erase_if(*object._relatedSets, [](VXRelatedSet &set) {
        set.forgetStored();
        return !set.hasChanges() && !set.relationship().isTransient();
    });
    if (object._relatedSets->empty())
        object._relatedSets.reset();
}

void VXManagedObjectContext::turnIntoFault(VXManagedObject &object)
{
    if (!object._isFault)
        object.willTurnIntoFault();
    object._isFault = true;
    object._row.reset();
    object._values.reset();
    forgetRelated(object);
}

void VXManagedObjectContext::rebase(VXManagedObject &object, const VXStoreRow::Ptr &stored)
{
    const VXEntityDescription &entity = object.entity();
    if (stored->propertyCount() != entity.properties().size())
        return;
    const VXStoreRow::Ptr before = object._values ? VXStoreRow::Ptr(object._values) : object._row;
    if (object._values) {
        const auto merged = VXMergedRow(entity, *object._row, *object._values, *stored, false);
        VXCopyTransientValues(entity, *object._values, *merged);
        object._values = merged;
    }
    object.setStoredRow(stored);
    moveInRelated(object, before.get(), object._values ? object._values.get() : stored.get());
    if (object._values)
        removeWhereStored(object);
}

// Where the stored object has a relationship that its own changes lack, its absence is a change.
void VXManagedObjectContext::removeWhereStored(VXManagedObject &object)
{
    for (const Relationship *const relationship : object.entity().relationships()) {
        const ObjectID *const stored = object._row->target(relationship->index());
        const ObjectID *const own = object._values->target(relationship->index());
        if (stored == nullptr || (own != nullptr && *own == *stored) || !relationship->inverse()->isToMany())
            continue;
        const ObjectPtr other = objectWithID(*stored);
        VXRelatedSet &set = other->relatedSet(*relationship->inverse());
        set.addStored(object.objectID());
        if (set.remove(ObjectPtr(&object)))
            noteChange(*other);
    }
}

void VXManagedObjectContext::moveInRelated(const VXManagedObject &object, const VXStoreRow *before,
                                           const VXStoreRow *after) const
{
    for (const Relationship *const relationship : object.entity().relationships()) {
        const Relationship *const inverse = relationship->inverse();
        if (relationship->isToMany() || relationship->isTransient() || !inverse->isToMany())
            continue;
        const auto setOfTarget = [&](const VXStoreRow *row) -> VXRelatedSet * {
            const ObjectID *const target = row == nullptr ? nullptr : row->target(relationship->index());
            const VXManagedObject *const found = target == nullptr ? nullptr : _objects.find(*target);
            return found == nullptr ? nullptr : found->findRelatedSet(*inverse);
        };
        VXRelatedSet *const from = setOfTarget(before);
        VXRelatedSet *const to = setOfTarget(after);
        if (from == to)
            continue;
        if (from != nullptr)
            from->removeStored(object.objectID());
        if (to != nullptr)
            to->addStored(object.objectID());
    }
}

// -- Without merging

void VXManagedObjectContext::dropChanges(const ObjectPtr &object)
{
    if (object->isDeleted())
        setState(*object, State::Updated);
    QList<const Relationship *> severed;
    for (const Relationship *const relationship : object->entity().relationships()) {
        if (relationship->isTransient())
            continue;
        if (relationship->isManyToMany())
            dropLinks(object, *relationship);
        else if (!relationship->isToMany() && !dropTarget(object, *relationship))
            severed.append(relationship);
    }
    turnIntoFault(*object);
    for (const Relationship *const relationship : severed)
        object->setTarget(*relationship, {});
    settle(*object);
}

// False when the relationship cannot be restored, because the stored object is being deleted.
bool VXManagedObjectContext::dropTarget(const ObjectPtr &object, const Relationship &relationship)
{
    if (!object->_values)
        return true;
    const ObjectPtr stored = object->target(*object->_row, relationship);
    const ObjectPtr present = object->related(relationship.index());
    if (stored == present)
        return true;
    const bool isGoing = stored && stored->isDeleted();
    object->setRelated(relationship.index(), isGoing ? ObjectPtr() : stored);
    return !isGoing;
}

void VXManagedObjectContext::dropLinks(const ObjectPtr &object, const Relationship &relationship)
{
    const VXRelatedSet *const set = object->findRelatedSet(relationship);
    if (set == nullptr || !set->hasChanges())
        return;
    for (const ObjectPtr &other : set->added() + objectsWithIDs(set->removed())) {
        if (other->isDeleted())
            continue;
        object->relatedSet(relationship).revert(other);
        other->relatedSet(*relationship.inverse()).revert(object);
        settle(*other);
    }
}
