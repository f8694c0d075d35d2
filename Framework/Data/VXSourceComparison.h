#pragma once

#include "VXError.h"
#include "VXManagedObject.h"
#include "VXStoreRow.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <functional>

class VXManagedObjectContext;
class VXPersistentStore;
class VXPersistentStoreCoordinator;
class VXStoreMigration;

/** Whether an object has the value of a row, without making values of what most attributes hold. False means no more than that
 * it is not that plain. */
bool VXIsPlainlySame(const VXManagedObject &object, int index, const VXStoreRow &row, int rowIndex);

/**
 * Holds what a plugin's hooks made of the objects of a store, before it is saved, against that store, which is read once more: of
 * all that the models of both have by the same name nothing may be lost or changed, but for what the run was told of. What
 * the new objects have beyond that is the plugin's own. Of one thread.
 */
class VXSourceComparison
{
public:
    /** Whether a property of the old model is looked at. */
    using Filter = std::function<bool(const VXPropertyDescription &old)>;

    VXSourceComparison(VXStoreMigration &run, const VXManagedObjectContext &made, const Filter &filter);
    /** @return the first difference; none when there is none. */
    VXError compare(VXPersistentStoreCoordinator &source);

private:
    struct Pair // of one property
    {
        const VXPropertyDescription *old;
        const VXPropertyDescription *made;
        bool isInRow;
    };
    using Shape = std::pair<const VXEntityDescription *, const VXEntityDescription *>;

    const QList<Pair> &pairsOf(const VXEntityDescription &old, const VXEntityDescription &made);
    VXError compareBatch(const QList<VXManagedObjectID> &oldIDs, VXPersistentStore &source);
    VXError compareRow(const VXManagedObjectID &oldID, const VXStoreRow &row);
    VXError compareValue(const VXManagedObjectID &oldID, const VXStoreRow &row, const Pair &pair,
                         const VXManagedObject &object);
    void compareReferences(const VXManagedObjectID &oldID, const QList<VXManagedObjectID> &targets, const Pair &pair,
                           const VXManagedObject &object);
    VXError compareTotals() const;

    VXStoreMigration &_run;
    const VXManagedObjectContext &_made;
    const Filter _filter;
    QHash<Shape, QList<Pair>> _pairs;
    Shape _shape; // of the last object, as most are like it
    QList<Pair> _pairsOfShape;
    QHash<const VXRelationshipDescription *, QList<VXManagedObjectID>>
        _sources;                                           // of the batch, with references to many
    QHash<const VXPropertyDescription *, quint64> _changes; // of values, as they are found
    struct Lost
    {
        qint64 count = 0;
        VXManagedObjectID first;
    };
    QHash<const VXPropertyDescription *, Lost> _lost; // references
};
