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
 * (VXManagedObjectPtr) under the keys below, but no empty ones. Valid during the call only.
 */
VX_STORE_EXPORT extern const VXNotificationName VXManagedObjectContextWillSaveNotification; // after validation
VX_STORE_EXPORT extern const VXNotificationName VXManagedObjectContextDidSaveNotification;
VX_STORE_EXPORT extern const VXNotificationName VXManagedObjectContextObjectsDidChangeNotification;
VX_STORE_EXPORT extern const QString VXInsertedObjectsKey;  // "inserted"
VX_STORE_EXPORT extern const QString VXUpdatedObjectsKey;   // "updated"
VX_STORE_EXPORT extern const QString VXDeletedObjectsKey;   // "deleted"
VX_STORE_EXPORT extern const QString VXRefreshedObjectsKey; // "refreshed"

/**
 * A workspace of objects over a coordinator: it has one object for each ID, and keeps changes until they are saved
 * together. Confined to one thread, or locked by its users. Updates both ends of relationships.
 */
class VX_STORE_EXPORT VXManagedObjectContext
{
public:
    explicit VXManagedObjectContext(const VXPersistentStoreCoordinator::Ptr &coordinator);
    /** Unsaved changes are lost; objects that are still referenced become faults that cannot be read. */
    ~VXManagedObjectContext();
    VXManagedObjectContext(const VXManagedObjectContext &) = delete;
    VXManagedObjectContext &operator=(const VXManagedObjectContext &) = delete;

    const VXPersistentStoreCoordinator::Ptr &persistentStoreCoordinator() const { return _coordinator; }

    VXMergePolicy mergePolicy() const { return _mergePolicy; }
    void setMergePolicy(VXMergePolicy policy) { _mergePolicy = policy; }

    /**
     * For many saves in a row, of which each would wait for the disk: whole and in order they are there at once, for everybody and
     * after the end of the process, but a power cut may undo the last of them until VXPersistentStoreCoordinator::secureSaves, or a
     * save that does not secure later, has returned.
     */
    void setSecuresLater(bool flag) { _securesLater = flag; }

    // -- Objects
    /** Makes a new object with default values, to be saved in the given store, or else in the first one. An abstract
     *  entity fails an assertion. */
    VXManagedObjectPtr insertNewObject(const VXEntityDescription &entity,
                                       const VXPersistentStoreCoordinator::StorePtr &store = nullptr);
    /** The same by name; an unknown entity fails an assertion. */
    VXManagedObjectPtr insertNewObject(const QString &entityName);
    /** Marks the object for deletion at the next save, along with what the delete rules say. */
    void deleteObject(const VXManagedObjectPtr &object);
    /** The object with that ID if it is in memory; null otherwise. */
    VXManagedObjectPtr objectRegisteredForID(const VXManagedObjectID &objectID) const;
    /** The object with that ID, as a fault if it is not in memory; it need not exist. Null for a null ID. */
    VXManagedObjectPtr objectWithID(const VXManagedObjectID &objectID);
    /** The object with that ID; null when it does not exist in the store. */
    VXManagedObjectPtr existingObjectWithID(const VXManagedObjectID &objectID, VXError *error = nullptr);

    // -- Fetching
    [[nodiscard]] std::optional<VXFetchResult> executeFetchRequest(const VXFetchRequest &request,
                                                                   VXError *error = nullptr);
    [[nodiscard]] std::optional<qsizetype> countForFetchRequest(const VXFetchRequest &request,
                                                                VXError *error = nullptr);

    /** Caches rows of at most so many bytes when they are read. Only for contexts that read a whole store repeatedly,
     *  but not at a time, while nobody changes it. */
    void keepRows(qsizetype largestRow) { _largestKeptRow = largestRow; }
    /** Passes on the stored rows of those objects that exist, in no particular order; cached rows as they were when
     *  read. */
    bool storedRows(const QList<VXManagedObjectID> &objectIDs, const std::function<void(const VXFetchedRow &)> &sink,
                    VXError *error = nullptr);
    /** Why the first read of this context or its objects that failed did so; none while all went well. Objects say of what
     *  cannot be read that there is nothing: whoever draws conclusions from what is missing asks this before a save. */
    const VXError &failedRead() const { return _failedRead; }
    /** Reads a to-many relationship of all these objects with one query; the objects it leads to are not read. */
    bool readRelated(const QList<VXManagedObjectPtr> &objects, const VXRelationshipDescription &relationship,
                     VXError *error = nullptr);

    // -- Changes
    bool hasChanges() const { return !_inserted.isEmpty() || !_updated.isEmpty() || !_deleted.isEmpty(); }
    QList<VXManagedObjectPtr> insertedObjects() const;
    QList<VXManagedObjectPtr> updatedObjects() const;
    QList<VXManagedObjectPtr> deletedObjects() const;
    /** Validates and saves all changes; in each store all of them or nothing. After a failure the changes remain
     *  unsaved, except for those in a store that was saved before another one failed (SavedInPart): saving again saves
     *  the rest. */
    bool save(VXError *error = nullptr);
    /** Drops all changes. Notifies observers. */
    void rollback();
    /** Drops everything; objects that are still referenced belong to no context any more. */
    void reset();
    /**
     * With mergeChanges, reads the stored values and keeps the object's changes on top; otherwise turns the object into
     * a fault, and drops its changes. To-many relationships with a to-one inverse are not affected, since they are
     * changes of the other objects.
     */
    void refreshObject(const VXManagedObjectPtr &object, bool mergeChanges);
    /** Gives new objects their permanent IDs before they are saved. */
    bool obtainPermanentIDs(const QList<VXManagedObjectPtr> &objects, VXError *error = nullptr);
    /** Applies what another context of the coordinator has saved, given by IDs. Unsaved changes are kept. Notifies
     *  observers. */
    void mergeChanges(const QList<VXManagedObjectID> &inserted, const QList<VXManagedObjectID> &updated,
                      const QList<VXManagedObjectID> &deleted);
    /** Notifies observers of the changes since the last time. A save does this as well. */
    void processPendingChanges();

    /** The number of objects in memory, and of all objects this context ever made. For measurements. */
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
    /** Detaches the object from the context. */
    void forget(const ObjectPtr &object);
    void forgetAll();
    QList<ObjectPtr> objectsWithIDs(const QList<ObjectID> &objectIDs);

    // -- Reading
    VXStoreRow::Ptr readRow(const ObjectID &objectID, VXError *error) const;
    /** Reads several rows with few queries; leaves out those that no longer exist. */
    bool readRows(const QList<ObjectID> &objectIDs, const std::function<void(const VXFetchedRow &)> &sink,
                  VXError *error);
    static bool adoptRow(VXManagedObject &object, VXStoreRow::Ptr row);
    ObjectPtr objectForRow(VXFetchedRow fetched, bool refreshes);
    /** False without an error when the object no longer exists. */
    bool readFault(VXManagedObject &object, VXError *error);
    /** A failure is reported as a diagnostic. */
    bool fulfillFault(VXManagedObject &object);
    bool fulfillFaults(const QList<ObjectPtr> &objects, VXError *error);
    /** Reads the objects of a relationship, and keeps them alive in `held`. */
    bool prefetch(const QList<ObjectPtr> &objects, const Relationship &relationship, QList<ObjectPtr> *held,
                  VXError *error);

    /** Passes on, and keeps, the problem of a read that failed. @return whether it did not. */
    bool noteRead(bool isRead, const VXError &problem, VXError *error) const;
    bool readRowsOf(const QList<VXManagedObjectID> &objectIDs, const std::function<void(const VXFetchedRow &)> &sink,
                    VXError *error);
    bool readRelatedOf(const QList<ObjectPtr> &objects, const Relationship &relationship, VXError *error);

    // -- Changes
    void noteChange(VXManagedObject &object);
    /** A change that cannot be made, as its object cannot be read. The next save fails with that, and no other. */
    void noteLostChange(const VXManagedObject &object, const VXError &problem);
    /** Reads faults among the objects, which a change of `changed` needs. Any may be null, or gone from the store. */
    bool canReadToChange(const QList<ObjectPtr> &objects, const VXManagedObject &changed);
    void noteForObservers(VXManagedObject &object);
    /** For objects without changes. Does not keep the object, since iterations turn any number of objects into faults.
     *  */
    void noteRefreshed(VXManagedObject &object);
    void setState(VXManagedObject &object, State state);
    VXChangedObjects *objectsInState(State state);
    /** Objects in all three states. */
    QList<ObjectPtr> changedObjects() const;
    /** The effects of the delete rules of a stored object, which are undone if the store's version wins over its
     *  deletion. */
    struct DeleteEffects
    {
        QList<ObjectPtr> deleted; // by the rule "cascade"
        // objects that referred to it, and by which relationship
        QList<std::pair<ObjectPtr, const Relationship *>> nullified;
    };
    /** Objects that a relationship of a deleted object leads to. */
    struct Led
    {
        const Relationship &relationship;
        QList<ObjectPtr> others; // any may be null
    };
    /** Reads those that the delete rules are about. */
    std::optional<std::vector<Led>> readLed(const ObjectPtr &object);
    void applyDeleteRule(const ObjectPtr &object, const Led &led, QList<ObjectPtr> &doomed);
    /** Makes an object without remaining changes unchanged. */
    void settle(VXManagedObject &object);
    void post(VXNotificationName name, const QMap<QString, QList<ObjectPtr>> &lists);

    // -- Adopting the state of the store
    void turnIntoFault(VXManagedObject &object);
    static void forgetRelated(VXManagedObject &object);
    void dropChanges(const ObjectPtr &object);
    bool dropTarget(const ObjectPtr &object, const Relationship &relationship);
    void dropLinks(const ObjectPtr &object, const Relationship &relationship);
    void rebase(VXManagedObject &object, const VXStoreRow::Ptr &stored);
    void removeWhereStored(VXManagedObject &object);
    /** Updates to-many relationships that were read after the change of an object's row. */
    void moveInRelated(const VXManagedObject &object, const VXStoreRow *before, const VXStoreRow *after) const;

    // -- Identity
    struct Renamed
    {
        ObjectPtr object;
        ObjectID before;
    };
    /** For objects with temporary IDs, which also remain registered under these for now. Nothing is changed on failure.
     *  */
    bool assignPermanentIDs(const QList<ObjectPtr> &objects, QList<Renamed> *renamed, VXError *error);
    /** Replaces IDs in the values of a changed object; a null replacement removes one. */
    template <class Replacement>
    static void replaceReferences(VXManagedObject &object, const Replacement &replacement);
    void replaceTemporaryReferences(VXManagedObject &object) const;
    /** Restores references to objects whose permanent IDs were withdrawn. */
    void restoreReferences(const QHash<ObjectID, ObjectID> &before) const;
    void registerAgain(const QList<Renamed> &renamed);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    VXMergePolicy _mergePolicy = VXMergePolicy::Error;
    VXObjectShelves<VXManagedObject *> _objects; // all objects in memory; owned by their references
    VXObjectShelves<VXStoreRow::Ptr> _keptRows;
    qsizetype _largestKeptRow = 0; // in bytes
    VXChangedObjects _inserted;
    VXChangedObjects _updated;
    VXChangedObjects _deleted;
    QHash<const VXManagedObject *, VXPersistentStoreCoordinator::StorePtr>
        _assignedStores;                                          // of new objects, if a store was given
    QHash<const VXManagedObject *, DeleteEffects> _deleteEffects; // by deleted object
    QList<ObjectPtr> _noted;                                      // for observers
    QSet<VXManagedObject *> _refreshed;                           // for observers, too; not kept alive
    qint64 _madeObjectCount = 0;
    quint64 _changeCount = 0; // of changes and saves, so that hooks are seen to make any
    VXError _lostChange;      // why the first change since the last save was not made, as its object could not be read
    mutable VXError _failedRead; // of the first read that failed
    quint32 _saveNumber = 0;
    bool _securesLater = false;
    bool _hasHooks = false; // whether there was ever an object of a class of its own
    bool _isAsking = false; // while hooks run before a save; they may save the context themselves
};

Q_DECLARE_METATYPE(VXManagedObjectContext *)
