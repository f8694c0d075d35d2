#pragma once

#include "VXManagedObjectModel.h"
#include "VXMutex.h"
#include "VXPersistentStore.h"

#include <QtCore/QSet>
#include <QtCore/QUrl>

#include <memory>

/**
 * The class of objects: the one registered for their entity (VXManagedObjectClass), or plain managed objects. Plain
 * ones are for models of earlier versions, since the present classes of their entities expect other properties.
 */
enum class VXObjectClasses { Registered, Plain };

/**
 * Several stores over one model, used by any number of contexts as if they were one. Exists as long as a context or
 * another owner keeps it. Any thread may call.
 */
class VX_STORE_EXPORT VXPersistentStoreCoordinator : public std::enable_shared_from_this<VXPersistentStoreCoordinator>
{
public:
    using Ptr = std::shared_ptr<VXPersistentStoreCoordinator>;
    using StorePtr = std::shared_ptr<VXPersistentStore>;

    /** Null, with an error, without a model. */
    [[nodiscard]] static Ptr coordinatorWithModel(const VXManagedObjectModel::Ptr &model, VXError *error = nullptr,
                                                  VXObjectClasses classes = VXObjectClasses::Registered);

    /** For the objects of all contexts over this coordinator. */
    VXObjectClasses objectClasses() const { return _objectClasses; }
    /** Keeps a resource until the coordinator is destroyed, such as a lock on the files of its stores. */
    void holdWhileOpen(const std::shared_ptr<const void> &resource);

    const VXManagedObjectModel &model() const { return *_model; }
    const VXManagedObjectModel::Ptr &modelPtr() const { return _model; }

    /** Opens or creates a store and attaches it. `path` is null for a store in memory; symbolic links in it are
     *  followed, and a file with several hard links is refused. @return null, with an error, on failure. */
    StorePtr addPersistentStore(VXStoreType type, const QString &path, const VXStoreOptions &options = {},
                                VXError *error = nullptr);
    /** Opens and attaches a store that was made elsewhere. */
    bool addPersistentStore(const StorePtr &store, VXError *error);
    /** Closes and detaches a store; its objects can no longer be read or saved. */
    bool removePersistentStore(const StorePtr &store, VXError *error = nullptr);
    /** In the order in which they were attached. */
    QList<StorePtr> persistentStores() const;
    /** Null when no attached store has that path, or that identity. */
    StorePtr persistentStoreForPath(const QString &path) const;
    StorePtr persistentStoreForIdentity(const VXStoreIdentity &identity) const;

    /** Null when the URI is not that of an attached store and an entity of the model. The object need not exist. */
    VXManagedObjectID objectIDForURIRepresentation(const QUrl &uri) const;

    /** The metadata of a store that is not attached. @return empty on failure. */
    [[nodiscard]] static QVariantMap metadataForPersistentStore(VXStoreType type, const QString &path,
                                                                VXError *error = nullptr);

    /**
     * Saves to every store involved: first all of them carry out their part, and only when all have succeeded do they
     * commit, one after the other. Each store is saved completely or not at all. Conflicts of all stores are collected.
     * On failure, `saved` contains the stores that had committed when another one could not (SavedInPart), otherwise
     * none.
     */
    bool save(const QHash<const VXStoreIdentity *, VXSaveRequest> &requests, QList<VXRowConflict> *conflicts,
              QSet<const VXStoreIdentity *> *saved, VXError *error);
    /** Makes lasting, also in a power cut, what contexts have saved that secure later (VXManagedObjectContext). */
    bool secureSaves(VXError *error = nullptr);

private:
    VXPersistentStoreCoordinator(const VXManagedObjectModel::Ptr &model, VXObjectClasses classes);

    const VXManagedObjectModel::Ptr _model;
    const VXObjectClasses _objectClasses;
    mutable VXMutex _lock;
    QList<std::shared_ptr<const void>> _held VX_GUARDED_BY(_lock); // released after the stores
    QList<StorePtr> _stores VX_GUARDED_BY(_lock);
};
