#pragma once

#include "VXPersistentStore.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

/**
 * The objects of a store in memory: rows by root entity and number, and what to-many relationships lead to. A value: a copy
 * costs next to nothing until one of the two is changed, so that a reader on any thread keeps one and needs no lock.
 */
class VXRowTables
{
public:
    using Table = QHash<qint64, VXFetchedRow>; // by number
    using Targets = QSet<VXManagedObjectID>;

    /** nullptr when there is no such object. Valid until something changes. */
    const VXFetchedRow *find(const VXManagedObjectID &objectID) const;
    Table table(const VXEntityDescription &root) const { return _tables.value(&root); }
    /** What a to-many relationship leads to. */
    Targets targets(const VXManagedObjectID &source, const VXRelationshipDescription &relationship) const;

    /** The highest number that an object of the root entity has had; 0 for none. */
    qint64 highestNumber(const VXEntityDescription &root) const { return _highestNumbers.value(&root); }
    void raiseHighestNumber(const VXEntityDescription &root, qint64 number);

    /** Adds or replaces an object. */
    void put(const VXFetchedRow &object);
    /** Removes an object, if it is there, and its links. */
    void remove(const VXManagedObjectID &objectID);
    /** For a relationship that is to-many at both ends; the inverse follows. */
    void link(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
              const VXManagedObjectID &target);
    void unlink(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                const VXManagedObjectID &target);

    /** What stands against a save: rows that differ from those that the changes are based on, and, when there are none,
     * references that would lead nowhere, or not back. */
    QList<VXRowConflict> conflicts(const VXSaveRequest &request) const;
    /** Whether an object to be inserted has the number of one that is there. */
    bool hasInserted(const QList<VXRowChange> &changes) const;
    void apply(const VXSaveRequest &request);

    /** References to objects that are not there or do not lead back. */
    QList<VXBrokenReference> brokenReferences() const;

private:
    using Links = QHash<VXManagedObjectID, Targets>; // by source

    void add(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
             const VXManagedObjectID &target);
    void take(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
              const VXManagedObjectID &target);
    QList<VXRowConflict> changedRows(const QList<VXRowChange> &changes) const;
    using Changes = QHash<VXManagedObjectID, const VXRowChange *>;
    QList<VXRowConflict> denied(const VXManagedObjectID &objectID, const VXRelationshipDescription &relationship,
                                const VXSaveRequest &request, const Changes &changes) const;
    QList<VXRowConflict> oneSided(const VXManagedObjectID &objectID, const VXRelationshipDescription &relationship,
                                  const Changes &changes) const;
    QList<VXRowReference> references(const VXManagedObjectID &objectID,
                                     const VXRelationshipDescription &relationship) const;
    void updateLinks(const VXManagedObjectID &objectID, const VXStoreRow *before, const VXStoreRow *after);

    QHash<const VXEntityDescription *, Table> _tables;          // by root entity
    QHash<const VXRelationshipDescription *, Links> _links;     // of every to-many relationship
    QHash<const VXEntityDescription *, qint64> _highestNumbers; // by root entity
};
