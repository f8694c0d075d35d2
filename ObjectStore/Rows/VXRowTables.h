#pragma once

#include "VXPersistentStore.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

/**
 * The objects of a store in memory: rows by root entity and number, and the links of to-many relationships. A value
 * type: copying is cheap until one of the copies is changed, so readers on any thread keep a copy and need no lock.
 */
class VXRowTables
{
public:
    using Table = QHash<qint64, VXFetchedRow>; // by number
    using Targets = QSet<VXManagedObjectID>;

    /** nullptr when there is no such object. Valid until the next change. */
    const VXFetchedRow *find(const VXManagedObjectID &objectID) const;
    Table table(const VXEntityDescription &root) const { return _tables.value(&root); }
    /** The objects of a to-many relationship. */
    Targets targets(const VXManagedObjectID &source, const VXRelationshipDescription &relationship) const;

    /** The highest number that an object of the root entity has had; 0 for none. */
    qint64 highestNumber(const VXEntityDescription &root) const { return _highestNumbers.value(&root); }
    void raiseHighestNumber(const VXEntityDescription &root, qint64 number);

    /** Adds or replaces an object. */
    void put(const VXFetchedRow &object);
    /** Removes an object, if it exists, and its links. */
    void remove(const VXManagedObjectID &objectID);
    /** For many-to-many relationships; the inverse is updated, too. */
    void link(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
              const VXManagedObjectID &target);
    void unlink(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                const VXManagedObjectID &target);

    /** The conflicts of a save: rows that differ from those that the changes are based on; if there are none,
     *  references to missing objects, or without one back. */
    QList<VXRowConflict> conflicts(const VXSaveRequest &request) const;
    /** Whether an object to be inserted has the number of an existing one. */
    bool hasInserted(const QList<VXRowChange> &changes) const;
    void apply(const VXSaveRequest &request);

    /** References to objects that do not exist or do not refer back. */
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
