#pragma once

#include "VXManagedObjectModel.h"
#include "VXMutex.h"
#include "VXPersistentStore.h"

#include <QtCore/QSet>
#include <QtCore/QUrl>

#include <memory>

/**
 * Of which class objects are: of the one that is registered for their entity (VXManagedObjectClass), or all plain, as for a
 * model of earlier times, whose entities have by now classes that expect other properties.
 */
enum class VXObjectClasses { Registered, Plain };

/**
 * Several stores over one model, used by any number of contexts as if they were one. Lives as long as a context or its
 * owner holds it. Any thread may call.
 */
class VX_STORE_EXPORT VXPersistentStoreCoordinator : public std::enable_shared_from_this<VXPersistentStoreCoordinator>
{
public:
    using Ptr = std::shared_ptr<VXPersistentStoreCoordinator>;
    using StorePtr = std::shared_ptr<VXPersistentStore>;

    /** Null, with an error, without a model. */
    [[nodiscard]] static Ptr coordinatorWithModel(const VXManagedObjectModel::Ptr &model, VXError *error = nullptr,
                                                  VXObjectClasses classes = VXObjectClasses::Registered);

    /** Of the objects of all contexts over it. */
    VXObjectClasses objectClasses() const { return _objectClasses; }
    /** Has something held until the coordinator is gone, as a lock on what its stores have open. */
    void holdWhileOpen(const std::shared_ptr<const void> &resource);

    const VXManagedObjectModel &model() const { return *_model; }
    const VXManagedObjectModel::Ptr &modelPtr() const { return _model; }

    /** Opens or creates a store and attaches it. `path` is null for one in memory; links in it are followed, and a file
     * with several names (hard links) is refused. @return null, with an error, on failure. */
    StorePtr addPersistentStore(VXStoreType type, const QString &path, const VXStoreOptions &options = {},
                                VXError *error = nullptr);
    /** Opens and attaches a store of another making. */
    bool addPersistentStore(const StorePtr &store, VXError *error);
    /** Closes a store and lets go of it; objects of it can no longer be read or saved. */
    bool removePersistentStore(const StorePtr &store, VXError *error = nullptr);
    /** In the order they were attached. */
    QList<StorePtr> persistentStores() const;
    /** Null when none of the attached ones lies there, or has that identity. */
    StorePtr persistentStoreForPath(const QString &path) const;
    StorePtr persistentStoreForIdentity(const VXStoreIdentity &identity) const;

    /** Null when the URI is none of an attached store, or of no entity of the model. The object need not exist. */
    VXManagedObjectID objectIDForURIRepresentation(const QUrl &uri) const;

    /** The metadata of a store that is not attached. @return empty on failure. */
    [[nodiscard]] static QVariantMap metadataForPersistentStore(VXStoreType type, const QString &path,
                                                                VXError *error = nullptr);

    /**
     * Saves to every store that is concerned: first all carry out their part, and only when all have done so they commit, one
     * after the other. Each store is saved as a whole or not at all. Conflicts are gathered from all. On failure `saved`
     * has the stores that had committed when another one could not (SavedInPart); none otherwise.
     */
    bool save(const QHash<const VXStoreIdentity *, VXSaveRequest> &requests, QList<VXRowConflict> *conflicts,
              QSet<const VXStoreIdentity *> *saved, VXError *error);

private:
    VXPersistentStoreCoordinator(const VXManagedObjectModel::Ptr &model, VXObjectClasses classes);

    const VXManagedObjectModel::Ptr _model;
    const VXObjectClasses _objectClasses;
    mutable VXMutex _lock;
    QList<std::shared_ptr<const void>> _held VX_GUARDED_BY(_lock); // let go of after the stores
    QList<StorePtr> _stores VX_GUARDED_BY(_lock);
};
