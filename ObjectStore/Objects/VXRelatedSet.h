#pragma once

#include "VXManagedObject.h"
#include "VXSmallSet.h"

/**
 * What a to-many relationship of one object leads to: the objects that the store has, once they were read, and the changes
 * to them. Changes need no reading. Belongs to its object.
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

    /** As long as it is not read, of the objects that were added. */
    qsizetype count() const { return _added.size() + (_isRead ? _stored.size() - _removed.size() : 0); }
    QList<VXManagedObjectID> stored() const { return _stored.values(); }
    /** Those stored that were not removed. */
    QList<VXManagedObjectID> keptIDs() const;

    // True when something changed:
    bool add(const VXManagedObjectPtr &object);
    /** One whose own relationship, to-one, led elsewhere so far: then it is in no need of being looked for. */
    void addNew(const VXManagedObjectPtr &object);
    bool remove(const VXManagedObjectPtr &object);
    /** As if the object had been neither added nor removed. */
    void revert(const VXManagedObjectPtr &object);

    /** What the store has, one after the other; changes stay. Once all are noted it is read. */
    void noteStored(const VXManagedObjectID &objectID) { _stored.insert(objectID); }
    void setRead();
    void forgetStored();
    /** The store now has, or no longer has, an object; of no effect on what was not read. */
    void addStored(const VXManagedObjectID &objectID);
    void removeStored(const VXManagedObjectID &objectID);

    /** The changes have been saved. */
    void commit();
    /** Drops the changes. */
    void revert();

private:
    /** What was read is then not needed to know what is stored: it is what the objects' rows say. */
    bool followsRows() const { return _relationship->inverse() != nullptr && !_relationship->isManyToMany(); }

    const VXRelationshipDescription *_relationship;
    bool _isRead = false;
    VXSmallSet<VXManagedObjectID> _stored;
    VXSmallSet<VXManagedObjectID> _removed; // once it is read, some of those stored
    VXSmallSet<VXManagedObjectPtr>
        _added; // once it is read, none of those stored; held, they may be known from here only
};
