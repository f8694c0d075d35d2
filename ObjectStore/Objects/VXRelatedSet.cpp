#include "VXRelatedSet.h"

QList<VXManagedObjectID> VXRelatedSet::keptIDs() const
{
    return (_removed.isEmpty() ? _stored : _stored - _removed).values();
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
    const qsizetype before = _added.size(); // with a removal it may never have been there, so it is added all the same
    _added.insert(object);
    return wasRemoved || _added.size() != before;
}

bool VXRelatedSet::remove(const VXManagedObjectPtr &object)
{
    const bool wasAdded = _added.remove(object);
    const VXManagedObjectID &objectID = object->objectID();
    if (objectID.isTemporary() || (_isRead && !_stored.contains(objectID)) || (wasAdded && followsRows()))
        return wasAdded;
    const qsizetype before = _removed.size();
    _removed.insert(objectID);
    return wasAdded || _removed.size() != before;
}

void VXRelatedSet::setStored(const QSet<VXManagedObjectID> &objectIDs)
{
    _isRead = true;
    _stored = objectIDs;
    _removed.intersect(_stored);
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
        _stored.subtract(_removed);
        for (const VXManagedObjectPtr &object : std::as_const(_added)) {
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
