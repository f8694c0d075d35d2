#include "VXRelatedSet.h"

QList<VXManagedObjectID> VXRelatedSet::keptIDs() const
{
    QList<VXManagedObjectID> kept = _stored.values();
    if (!_removed.isEmpty())
        kept.removeIf([this](const VXManagedObjectID &objectID) { return _removed.contains(objectID); });
    return kept;
}

bool VXRelatedSet::add(const VXManagedObjectPtr &object)
{
    const bool wasRemoved = _removed.remove(object->objectID());
    if (_isRead || followsRows()) {
        if (wasRemoved)
            return true;
        if (_stored.contains(object->objectID()))
            return false;
    }
    // After a removal the object may never have been there, so it is added anyway.
    return _added.insert(object) || wasRemoved;
}

void VXRelatedSet::addNew(const VXManagedObjectPtr &object)
{
    const VXManagedObjectID &objectID = object->objectID();
    if ((_removed.isEmpty() || !_removed.remove(objectID)) && (_stored.isEmpty() || !_stored.contains(objectID)))
        _added.insertNew(object);
}

bool VXRelatedSet::remove(const VXManagedObjectPtr &object)
{
    const bool wasAdded = _added.remove(object);
    const VXManagedObjectID &objectID = object->objectID();
    if (objectID.isTemporary() || (_isRead && !_stored.contains(objectID)) || (wasAdded && followsRows()))
        return wasAdded;
    return _removed.insert(objectID) || wasAdded;
}

void VXRelatedSet::setRead()
{
    _isRead = true;
    _removed.removeIf([this](const VXManagedObjectID &objectID) { return !_stored.contains(objectID); });
    _added.removeIf([this](const VXManagedObjectPtr &object) { return _stored.contains(object->objectID()); });
}

void VXRelatedSet::forgetStored()
{
    _isRead = false;
    _stored.clear();
}

void VXRelatedSet::addStored(const VXManagedObjectID &objectID)
{
    if (_isRead)
        _stored.insert(objectID);
}

void VXRelatedSet::removeStored(const VXManagedObjectID &objectID)
{
    _stored.remove(objectID);
}

void VXRelatedSet::commit()
{
    if (_isRead) {
        _stored.removeIf([this](const VXManagedObjectID &objectID) { return _removed.contains(objectID); });
        const QList<VXManagedObjectPtr> added = _added.values();
        for (const VXManagedObjectPtr &object : added) {
            if (object->managedObjectContext() != nullptr) // it may have been deleted before it was ever saved
                _stored.insert(object->objectID());
        }
    }
    revert();
}

void VXRelatedSet::revert()
{
    _removed.clear();
    _added.clear();
}

void VXRelatedSet::revert(const VXManagedObjectPtr &object)
{
    _added.remove(object);
    _removed.remove(object->objectID());
}
