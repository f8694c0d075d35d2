#pragma once

#include "VXError.h"
#include "VXManagedObject.h"
#include "VXStoreRow.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <functional>

class VXManagedObjectContext;
class VXStoreMigration;

/**
 * Compares what a plugin's hooks made of a store's objects, before it is saved, with what that store holds. Of
 * everything that both models have under the same name nothing may be lost or changed, except for what the run was told
 * of. What the new objects have beyond that is up to the plugin, and so are old objects that its check of the store has
 * repaired. One thread.
 */
class VXSourceComparison
{
public:
    /** Whether a property of the old model is compared. */
    using Filter = std::function<bool(const VXPropertyDescription &old)>;

    VXSourceComparison(VXStoreMigration &run, const VXManagedObjectContext &made, const Filter &filter);
    /** @return the first difference, or none. */
    VXError compare(VXManagedObjectContext &source);

private:
    struct Pair // the two versions of one property
    {
        const VXPropertyDescription *old;
        const VXPropertyDescription *made;
        bool isInRow;
    };
    using Shape = std::pair<const VXEntityDescription *, const VXEntityDescription *>;

    const QList<Pair> &pairsOf(const VXEntityDescription &old, const VXEntityDescription &made);
    VXError compareBatch(const QList<VXManagedObjectID> &oldIDs, VXManagedObjectContext &source);
    VXError compareMany(const VXRelationshipDescription &old, const QList<VXManagedObjectID> &oldIDs,
                        VXManagedObjectContext &source);
    VXError compareRow(const VXManagedObjectID &oldID, const VXStoreRow &row);
    VXError compareValue(const VXManagedObjectID &oldID, const VXStoreRow &row, const Pair &pair,
                         const VXManagedObject &object);
    void compareReference(const VXManagedObjectID &oldID, const VXManagedObjectID &target, const Pair &pair,
                          const VXManagedObject &object);
    void compareReferences(const VXManagedObjectID &oldID, const QList<VXManagedObjectID> &targets, const Pair &pair,
                           const VXManagedObject &object);
    VXManagedObjectPtr wantedTarget(const VXManagedObjectID &target, const Pair &pair) const;
    void noteLost(const VXManagedObjectID &oldID, const Pair &pair);
    bool isOfShared(const VXPropertyDescription &old) const;
    VXError compareTotals() const;

    VXStoreMigration &_run;
    const VXManagedObjectContext &_made;
    const Filter _filter;
    QHash<Shape, QList<Pair>> _pairs;
    Shape _shape; // of the last object, as most objects have the same
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

/** Compares for the run of this thread, if there is one and it is to be verified; otherwise true. */
[[nodiscard]] bool VXIsLikeSource(VXManagedObjectContext &source, const VXManagedObjectContext &made,
                                  const VXSourceComparison::Filter &filter, VXError *error);
