#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObjectModel.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

#include <functional>
#include <memory>

/** Keys of every store's metadata: the plugin that owns it, and the version of the data it was written for. */
VX_EXPORT extern const QString VXStoreOwnerIdentifierKey; // "$$__VXStoreOwnerIdentifierKey__$$"
VX_EXPORT extern const QString VXStoreVersionKey;         // "$$__VXStoreVersionKey__$$"
/** The version of the smart filters' model in a store that uses it; a store without this key has version "1". */
VX_EXPORT extern const QString VXStoreSmartFilterVersionKey; // "$$__VXStoreSmartFilterVersionKey__$$"
/** The extension of store folders: "vxdatastore". */
VX_EXPORT extern const QString VXStoreFileExtension;

class VXCoreDataStoreClass;

/**
 * A store folder, "NAME.vxdatastore", which holds the models that describe the store's objects beside the file that
 * holds the objects; or a store in memory. Model and coordinator are made when first asked for; a failure is logged,
 * and the next call tries again. There is no close: data files stay open as long as the coordinator lives. One thread
 * at a time.
 */
class VX_EXPORT VXCoreDataStore
{
public:
    using Ptr = std::shared_ptr<VXCoreDataStore>;

    /** The operations that need no instance: what store folders hold, and how stores are made of them. */
    static const VXCoreDataStoreClass &storeClass();

    /** For a store in memory both are null. */
    VXCoreDataStore(const QString &path, const QString &dataFileName);
    virtual ~VXCoreDataStore();
    VXCoreDataStore(const VXCoreDataStore &) = delete;
    VXCoreDataStore &operator=(const VXCoreDataStore &) = delete;

    const QString &storePath() const { return _path; }
    /** The name, not the path, of the data file. */
    const QString &dataFileName() const { return _dataFileName; }
    /** Makes all objects plain managed objects, whatever classes the models name. To be called before the store is
     *  opened. */
    void usePlainObjects() { _objectClasses = VXObjectClasses::Plain; }
    /** Has nothing written to the store, nor left beside it. To be called before the store is opened. */
    void openReadOnly() { _isReadOnly = true; }

    /** All readable models of the folder, merged into one; null when there is none. */
    VXManagedObjectModel::Ptr managedObjectModel(VXError *error = nullptr);
    /** Attaches every data file of the folder that has the same kind as the named one; if there is none, creates the
     *  named one. Null on failure. A name of neither kind, or none, gives a store in memory. As long as the coordinator
     *  lives, the folder is locked as one in use (VXStoreLock). */
    VXPersistentStoreCoordinator::Ptr persistentStoreCoordinator(VXError *error = nullptr);
    /**
     * Copies the folder to a path where nothing is. The open data files are copied as of one moment, even while others
     * write to them; everything else, including folders, as it is. False on failure, which leaves a partial copy.
     */
    bool copyTo(const QString &path, VXError *error = nullptr);
    /** The same, but copies only models and data: enough to read them. */
    bool copyDataTo(const QString &path, VXError *error = nullptr);
    /** The metadata of the first attached store that names an owner; empty when none does. */
    QVariantMap metadata();

protected:
    friend class VXCoreDataStoreClass;

    /** The class operations that belong to this object's class. */
    virtual const VXCoreDataStoreClass &classOperations() const { return storeClass(); }

private:
    VXPersistentStoreCoordinator::Ptr openStores(VXStoreType type, VXError *error);
    bool attachDataFiles(VXPersistentStoreCoordinator &coordinator, VXStoreType type, VXError *error);
    bool copyDataFiles(const QString &path, QStringList *copied, VXError *error);
    bool copyEntries(const QString &path, const std::function<bool(const QString &name)> &isWanted,
                     VXError *error) const;
    bool attach(VXPersistentStoreCoordinator &coordinator, VXStoreType type, const QString &fileName,
                const QString &action, VXError *error);

    const QString _path;
    const QString _dataFileName;
    VXObjectClasses _objectClasses = VXObjectClasses::Registered;
    bool _isReadOnly = false;
    VXManagedObjectModel::Ptr _managedObjectModel;
    VXPersistentStoreCoordinator::Ptr _persistentStoreCoordinator;
};

/** The class operations of VXCoreDataStore; whoever subclasses one subclasses both. Reentrant. */
class VX_EXPORT VXCoreDataStoreClass
{
public:
    virtual ~VXCoreDataStoreClass();

    /** The store of a folder. Null, logged, when nothing is there or the folder holds no data file. */
    VXCoreDataStore::Ptr storeWithPath(const QString &path) const;
    VXCoreDataStore::Ptr memoryStoreWithModel(const VXManagedObjectModel::Ptr &model) const;
    /** Names of the folder's entries with the extension "mom", sorted. */
    virtual QStringList modelFilesForStorePath(const QString &path) const;
    /** Names of the folder's entries with the extension "sqlite" or "xml", sorted. */
    virtual QStringList dataFilesForStorePath(const QString &path) const;
    /** Names of the folder's entries that are opened together with a data file: all with its extension, including
     *  itself. */
    static QStringList dataFilesLike(const QString &dataFileName, const QString &path);
    /** The type that the extension stands for; memory for any other than "sqlite" and "xml". */
    static VXStoreType typeOfDataFile(const QString &dataFileName);
    /** Makes a store of this class. */
    virtual VXCoreDataStore::Ptr makeStore(const QString &path, const QString &dataFileName) const;
};
