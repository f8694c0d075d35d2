#pragma once

#include "VXChangedObjects.h"
#include "VXFetchRequest.h"
#include "VXFetchResult.h"
#include "VXManagedObject.h"
#include "VXMergePolicy.h"
#include "VXNotificationCenter.h"
#include "VXObjectShelves.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

#include <optional>
#include <utility>

/**
 * Posted by a context on its thread; object: the context (VXManagedObjectContext *). The user info has lists of objects
 * (VXManagedObjectPtr) under the keys below, each only when it is not empty. They may be read during the call only.
 */
VX_STORE_EXPORT extern const VXNotificationName VXManagedObjectContextWillSaveNotification; // once all is found valid
VX_STORE_EXPORT extern const VXNotificationName VXManagedObjectContextDidSaveNotification;
VX_STORE_EXPORT extern const VXNotificationName VXManagedObjectContextObjectsDidChangeNotification;
VX_STORE_EXPORT extern const QString VXInsertedObjectsKey;  // "inserted"
VX_STORE_EXPORT extern const QString VXUpdatedObjectsKey;   // "updated"
VX_STORE_EXPORT extern const QString VXDeletedObjectsKey;   // "deleted"
VX_STORE_EXPORT extern const QString VXRefreshedObjectsKey; // "refreshed"

/**
 * A scratch pad of objects over a coordinator: one object for each ID, changes kept until they are saved together. Confined
 * to one thread, or locked by its users. Both ends of relationships are kept in step.
 */
class VX_STORE_EXPORT VXManagedObjectContext
{
public:
    explicit VXManagedObjectContext(const VXPersistentStoreCoordinator::Ptr &coordinator);
    /** Unsaved changes are lost; objects still held become faults that cannot be read. */
    ~VXManagedObjectContext();
    VXManagedObjectContext(const VXManagedObjectContext &) = delete;
    VXManagedObjectContext &operator=(const VXManagedObjectContext &) = delete;

    const VXPersistentStoreCoordinator::Ptr &persistentStoreCoordinator() const { return _coordinator; }

    VXMergePolicy mergePolicy() const { return _mergePolicy; }
    void setMergePolicy(VXMergePolicy policy) { _mergePolicy = policy; }

    // -- Objects
    /** A new object with the default values, to be saved to the store given, else to the first. An abstract entity fails an
     * assertion. */
    VXManagedObjectPtr insertNewObject(const VXEntityDescription &entity,
                                       const VXPersistentStoreCoordinator::StorePtr &store = nullptr);
    /** By name; an unknown one fails an assertion. */
    VXManagedObjectPtr insertNewObject(const QString &entityName);
    /** Deletes at the next save, and what the delete rules say with it. */
    void deleteObject(const VXManagedObjectPtr &object);
    /** Null when it is not in memory. */
    VXManagedObjectPtr objectRegisteredForID(const VXManagedObjectID &objectID) const;
    /** The object, as a fault if it is not in memory; it need not exist. Null for a null ID. */
    VXManagedObjectPtr objectWithID(const VXManagedObjectID &objectID);
    /** Null when the store has no such object. */
    VXManagedObjectPtr existingObjectWithID(const VXManagedObjectID &objectID, VXError *error = nullptr);

    // -- Fetching
    [[nodiscard]] std::optional<VXFetchResult> executeFetchRequest(const VXFetchRequest &request,
                                                                   VXError *error = nullptr);
    [[nodiscard]] std::optional<qsizetype> countForFetchRequest(const VXFetchRequest &request,
                                                                VXError *error = nullptr);

    /** For who reads all objects of a store that nobody changes more than once, and not all at a time: keeps the rows that are
     * read and take up at most so many bytes. */
    void keepRows(qsizetype largestRow) { _largestKeptRow = largestRow; }
    /** What the stores have of those objects that are there, in no particular order; or had, when it was kept. */
    bool storedRows(const QList<VXManagedObjectID> &objectIDs, const std::function<void(const VXFetchedRow &)> &sink,
                    VXError *error = nullptr);
    /** Reads what a to-many relationship of these objects leads to, with one query; the objects led to are not read. */
    bool readRelated(const QList<VXManagedObjectPtr> &objects, const VXRelationshipDescription &relationship,
                     VXError *error = nullptr);

    // -- Changes
    bool hasChanges() const { return !_inserted.isEmpty() || !_updated.isEmpty() || !_deleted.isEmpty(); }
    QList<VXManagedObjectPtr> insertedObjects() const;
    QList<VXManagedObjectPtr> updatedObjects() const;
    QList<VXManagedObjectPtr> deletedObjects() const;
    /** Validates and saves all changes: to each store all or nothing. On failure they stay as they are, but those to a store
     * that was saved before another one failed (SavedInPart): saving again saves the rest. */
    bool save(VXError *error = nullptr);
    /** Drops all changes. Tells observers. */
    void rollback();
    /** Forgets everything; objects still held belong to no context any more. */
    void reset();
    /**
     * With mergeChanges reads the stored values under the object's changes; without it turns the object into a fault, and drops
     * its changes. The objects of a to-many relationship with a to-one inverse stay as they are: those are their changes.
     */
    void refreshObject(const VXManagedObjectPtr &object, bool mergeChanges);
    /** Gives new objects their permanent IDs before they are saved. */
    bool obtainPermanentIDs(const QList<VXManagedObjectPtr> &objects, VXError *error = nullptr);
    /** Takes over what another context of the coordinator saved: inserted, updated and deleted IDs. Unsaved changes stay.
     * Tells observers. */
    void mergeChanges(const QList<VXManagedObjectID> &inserted, const QList<VXManagedObjectID> &updated,
                      const QList<VXManagedObjectID> &deleted);
    /** Tells observers of the changes since it last did. A save does it too. */
    void processPendingChanges();

    /** How many objects are in memory; how many were ever made by this context. For measurements. */
    qsizetype registeredObjectCount() const { return _objects.size(); }
    qint64 madeObjectCount() const { return _madeObjectCount; }

private:
    friend class VXManagedObject;
    friend class VXFetchResult;
    class Fetch;
    class Save;
    using ObjectID = VXManagedObjectID;
    using ObjectPtr = VXManagedObjectPtr;
    using Relationship = VXRelationshipDescription;
    using State = VXManagedObject::State;

    // -- Objects in memory
    VXManagedObject &makeObject(const ObjectID &objectID);
    void unregister(VXManagedObject &object);
    /** From now on the object belongs to no context. */
    void forget(const ObjectPtr &object);
    void forgetAll();
    QList<ObjectPtr> objectsWithIDs(const QList<ObjectID> &objectIDs);

    // -- Reading
    VXStoreRow::Ptr readRow(const ObjectID &objectID, VXError *error) const;
    /** Several rows with few queries; those that are gone are left out. */
    bool readRows(const QList<ObjectID> &objectIDs, const std::function<void(const VXFetchedRow &)> &sink,
                  VXError *error);
    static bool adoptRow(VXManagedObject &object, VXStoreRow::Ptr row);
    ObjectPtr objectForRow(VXFetchedRow fetched, bool refreshes);
    /** False without an error: the object is gone. */
    bool readFault(VXManagedObject &object, VXError *error);
    /** A failure is reported as a diagnostic. */
    bool fulfillFault(VXManagedObject &object);
    bool fulfillFaults(const QList<ObjectPtr> &objects, VXError *error);
    /** Reads the objects that a relationship leads to. They are held in `held`. */
    bool prefetch(const QList<ObjectPtr> &objects, const Relationship &relationship, QList<ObjectPtr> *held,
                  VXError *error);

    // -- Changes
    void noteChange(VXManagedObject &object);
    /** A change that cannot be made, as its object cannot be read. The next save fails with that, and no other. */
    void noteLostChange(const VXManagedObject &object, const VXError &problem);
    void noteForObservers(VXManagedObject &object);
    /** Of an object without changes. It is not held: a walk turns any number of objects into faults. */
    void noteRefreshed(VXManagedObject &object);
    void setState(VXManagedObject &object, State state);
    VXChangedObjects *objectsInState(State state);
    /** Of all three kinds. */
    QList<ObjectPtr> changedObjects() const;
    /** What the delete rules of a stored object have done, which is undone where its deletion gives way to the store. */
    struct DeleteEffects
    {
        QList<ObjectPtr> deleted;                                    // by "cascade"
        QList<std::pair<ObjectPtr, const Relationship *>> nullified; // what led to it, and by which relationship
    };
    void applyDeleteRule(const ObjectPtr &object, const Relationship &relationship, QList<ObjectPtr> &doomed);
    /** An object without changes left is not an updated one. */
    void settle(VXManagedObject &object);
    void post(VXNotificationName name, const QMap<QString, QList<ObjectPtr>> &lists);

    // -- Taking over what the store has
    void turnIntoFault(VXManagedObject &object);
    static void forgetRelated(VXManagedObject &object);
    void dropChanges(const ObjectPtr &object);
    bool dropTarget(const ObjectPtr &object, const Relationship &relationship);
    void dropLinks(const ObjectPtr &object, const Relationship &relationship);
    void rebase(VXManagedObject &object, const VXStoreRow::Ptr &stored);
    void removeWhereStored(VXManagedObject &object);
    /** Brings to-many relationships that were read in step with what an object's row says by now. */
    void moveInRelated(const VXManagedObject &object, const VXStoreRow *before, const VXStoreRow *after) const;

    // -- Identity
    struct Renamed
    {
        ObjectPtr object;
        ObjectID before;
    };
    /** Of those that have temporary ones, which stay registered for the time being. Nothing is changed on failure. */
    bool assignPermanentIDs(const QList<ObjectPtr> &objects, QList<Renamed> *renamed, VXError *error);
    /** In the values of a changed object. A null ID as replacement is none. */
    template <class Replacement>
    static void replaceReferences(VXManagedObject &object, const Replacement &replacement);
    void replaceTemporaryReferences(VXManagedObject &object) const;
    /** Of objects whose IDs had been taken from them again. */
    void restoreReferences(const QHash<ObjectID, ObjectID> &before) const;
    void registerAgain(const QList<Renamed> &renamed);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    VXMergePolicy _mergePolicy = VXMergePolicy::Error;
    VXObjectShelves<VXManagedObject *> _objects; // every one in memory; they are owned by their holders
    VXObjectShelves<VXStoreRow::Ptr> _keptRows;
    qsizetype _largestKeptRow = 0; // in bytes
    VXChangedObjects _inserted;
    VXChangedObjects _updated;
    VXChangedObjects _deleted;
    QHash<const VXManagedObject *, VXPersistentStoreCoordinator::StorePtr>
        _assignedStores;                                          // of new objects, where named
    QHash<const VXManagedObject *, DeleteEffects> _deleteEffects; // of the deleted ones
    QList<ObjectPtr> _noted;                                      // for observers
    QSet<VXManagedObject *> _refreshed;                           // for observers too, not held
    qint64 _madeObjectCount = 0;
    quint64 _stateCount = 0; // of changes of state, so that hooks are seen to make any
    VXError _lostChange;     // why the first change since the last save was not made, as its object could not be read
    quint32 _saveNumber = 0;
    bool _hasHooks = false; // objects of classes of their own, one of which there was at least
    bool _isAsking = false; // hooks of objects to be saved, which may save themselves
};

Q_DECLARE_METATYPE(VXManagedObjectContext *)
