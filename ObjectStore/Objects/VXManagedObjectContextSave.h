#pragma once

#include "VXManagedObjectContext.h"

#include <vector>

/** One save of a context: what is written to which store, and what it means for the objects. To be used once. */
class VXManagedObjectContext::Save
{
public:
    explicit Save(VXManagedObjectContext &context) : _context(context) {}

    /** On failure, objects are as they were before. */
    bool run(VXError *error);

private:
    using Places = QHash<ObjectID, qsizetype>; // indexes into the changes of a part

    /** The part of the save for one store. */
    struct Part
    {
        VXPersistentStoreCoordinator::StorePtr store;
        VXSaveRequest request;
        // For each change of the request, in order; nullptr for one that is no change of the context.
        std::vector<VXManagedObject *> objects;
        Places places = {}; // while conflicts are resolved; a change whose index is not here is dropped
    };
    /** An object that is not written, because somebody else's change to it wins. */
    struct Yielding
    {
        VXManagedObject *object;
        VXStoreRow::Ptr stored; // null: it no longer exists
    };

    /** An object that somebody else has changed, too: its row in this save and in the store. Either may be null. */
    struct Contested
    {
        ObjectID objectID;
        VXStoreRow::Ptr own;
        VXStoreRow::Ptr stored;
    };

    // -- Preparing
    void callWillSave();
    bool takeChanges(VXError *error);
    bool areTakenStill() const;
    bool validate(VXError *error) const;
    bool build(VXError *error);
    Part *partFor(const ObjectID &objectID, VXError *error);
    static VXStoreRow::Ptr rowOf(const VXManagedObject &object);
    bool addChange(VXManagedObject &object, VXStoreRow::Ptr row, const QList<int> &changed, VXError *error);
    bool addUpdated(VXManagedObject &object, VXError *error);
    bool addLinks(const VXManagedObject &object, VXError *error);
    void addMetadata();

    // -- Writing (VXManagedObjectContext+Conflicts.cpp)
    bool write(VXError *error);
    /** False when the user has to decide. */
    bool resolve(const QList<VXRowConflict> &conflicts);
    bool resolveChanged(Part &part, const QHash<ObjectID, VXStoreRow::Ptr> &stored);
    bool resolve(Part &part, qsizetype place, const VXStoreRow::Ptr &stored, bool *isDropped);
    static void notePlaces(Part &part);
    static qsizetype placeOf(const Part &part, const ObjectID &objectID);
    static qsizetype append(Part &part, const ObjectID &objectID, const VXStoreRow::Ptr &stored);
    static void drop(Part &part, const ObjectID &objectID);
    void removeDropped(Part &part);
    VXError conflictError(const QList<VXRowConflict> &conflicts) const;
    QVariantMap descriptionOf(const VXRowConflict &conflict) const;

    // -- References to objects that no longer exist (VXManagedObjectContext+References.cpp)
    bool resolveMissing(Part &part, const QSet<ObjectID> &gone);
    bool resolveReferenced(Part &part, const VXRowConflict &conflict);
    bool applyDeleteRule(Part &part, const ObjectID &deleted, const VXRowReference &reference);
    bool pairUp(Part &part, const Contested &contested);
    bool leadsBack(const Part &part, const ObjectID &objectID, const Relationship &relationship) const;
    bool resolveOneSided(Part &part, const VXRowConflict &conflict);
    VXRowChange &changeOf(Part &part, const ObjectID &objectID, const VXStoreRow::Ptr &stored);
    bool unpair(Part &part, const ObjectID &objectID, const Relationship &relationship, const ObjectID &from);
    VXStoreRow::Ptr rowToBe(const Part &part, const ObjectID &objectID) const;
    static bool removeReferences(VXRowChange &change, const QSet<ObjectID> &targets);

    static bool leadsTo(const VXStoreRow &row, const Relationship &relationship, const ObjectID &objectID);
    static void setTarget(VXRowChange &change, const Relationship &relationship, const QVariant &target);

    // -- Deletions that lose against the store (VXManagedObjectContext+Restore.cpp)
    void restoreDeleted(Part &part);
    QList<ObjectPtr> restoreCascaded(Part &part, const DeleteEffects &effects);
    void restoreNullified(Part &part, const VXManagedObject &object, const DeleteEffects &effects);

    // -- Afterwards
    void undo();
    void finish();
    void forgetGone();
    void announce(const VXNotificationName &name) const;
    void takeOverRows();
    void takeOver(VXManagedObject &object, const VXStoreRow::Ptr &row);
    void markSaved(VXManagedObject &object);
    static QList<ObjectPtr> takeOut(const QSet<const VXManagedObject *> &objects, QList<ObjectPtr> &list);
    void refreshOthers();
    void callDidSave() const;

    VXManagedObjectContext &_context;
    quint32 _number = 0;          // of the save as hooks are asked; 0 before they are
    quint64 _taken = ~quint64(0); // the context's count of changes then
    QList<ObjectPtr> _inserted;
    QList<ObjectPtr> _updated;
    QList<ObjectPtr> _deleted;
    QList<Renamed> _renamed; // objects that got permanent IDs
    QList<int> _changed;     // changed properties of the object updated last
    std::vector<Part> _parts;
    std::vector<VXManagedObject *> _unwritten; // that a part has no change of, or no more
    std::vector<Yielding> _yielding;
    std::vector<Contested> _contested;
    QSet<ObjectID> _gone;                    // which somebody else deleted, or a delete rule of the save
    QSet<ObjectID> _refreshed;               // which are other in the store than the context has them
    QSet<const VXManagedObject *> _restored; // of those yielding, whose deletion is undone
    QSet<const VXStoreIdentity *> _saved;    // of a save that failed
    bool _isWhole = false;                   // no change of the context is left
};
