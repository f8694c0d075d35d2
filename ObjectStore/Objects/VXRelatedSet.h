#pragma once

#include "VXManagedObject.h"
#include "VXSmallSet.h"

/**
 * The objects of a to-many relationship of one object: those in the store, once they were read, and the changes to
 * them. Changes can be made without reading. Belongs to its object.
 */
class VXRelatedSet
{
public:
    explicit VXRelatedSet(const VXRelationshipDescription &relationship) : _relationship(&relationship) {}

    const VXRelationshipDescription &relationship() const { return *_relationship; }
    bool isRead() const { return _isRead; }
    bool hasChanges() const { return !_added.isEmpty() || !_removed.isEmpty(); }
    QList<VXManagedObjectPtr> added() const { return _added.values(); }
    QList<VXManagedObjectID> removed() const { return _removed.values(); }

    /** While it is not read, only the number of added objects. */
    qsizetype count() const { return _added.size() + (_isRead ? _stored.size() - _removed.size() : 0); }
    QList<VXManagedObjectID> stored() const { return _stored.values(); }
    /** The stored ones that were not removed. */
    QList<VXManagedObjectID> keptIDs() const;

    // These return whether anything changed.
    bool add(const VXManagedObjectPtr &object);
    /** Adds an object whose to-one inverse led elsewhere so far, so it need not be looked up here. */
    void addNew(const VXManagedObjectPtr &object);
    bool remove(const VXManagedObjectPtr &object);
    /** Takes back the addition or removal of an object. */
    void revert(const VXManagedObjectPtr &object);

    /** Notes a stored object; changes are kept. Once all are noted, setRead() is called. */
    void noteStored(const VXManagedObjectID &objectID) { _stored.insert(objectID); }
    void setRead();
    void forgetStored();
    /** Says that the store now has, or no longer has, an object; without effect if the set was not read. */
    void addStored(const VXManagedObjectID &objectID);
    void removeStored(const VXManagedObjectID &objectID);

    /** To be called when the changes were saved. */
    void commit();
    /** Drops the changes. */
    void revert();

private:
    /** Whether the stored objects follow from the objects' rows, so that they need not be kept. */
    bool followsRows() const { return _relationship->inverse() != nullptr && !_relationship->isManyToMany(); }

    const VXRelationshipDescription *_relationship;
    bool _isRead = false;
    VXSmallSet<VXManagedObjectID> _stored;
    VXSmallSet<VXManagedObjectID> _removed; // once read, a subset of _stored
    VXSmallSet<VXManagedObjectPtr>
        _added; // once it is read, none of those stored; held, they may be known from here only
};
