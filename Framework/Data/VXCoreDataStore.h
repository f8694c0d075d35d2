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
/** The version of the smart filters' model, in a store that has it ("1" where there is none). */
VX_EXPORT extern const QString VXStoreSmartFilterVersionKey; // "$$__VXStoreSmartFilterVersionKey__$$"
/** Of store folders: "vxdatastore". */
VX_EXPORT extern const QString VXStoreFileExtension;

class VXCoreDataStoreClass;

/**
 * A store folder, "NAME.vxdatastore": the models that describe a store's objects beside the one file that holds them; or a
 * store in memory. Model and coordinator are made when they are first asked for; a failure is logged, and the next call tries
 * again. Nothing is closed: data files stay open as long as the coordinator lives. One thread at a time.
 */
class VX_EXPORT VXCoreDataStore
{
public:
    using Ptr = std::shared_ptr<VXCoreDataStore>;

    /** For the class operations: what store folders hold, and how stores are made of them. */
    static const VXCoreDataStoreClass &storeClass();

    /** Both null for a store in memory. */
    VXCoreDataStore(const QString &path, const QString &dataFileName);
    virtual ~VXCoreDataStore();
    VXCoreDataStore(const VXCoreDataStore &) = delete;
    VXCoreDataStore &operator=(const VXCoreDataStore &) = delete;

    const QString &storePath() const { return _path; }
    /** The name, not the path, of the data file. */
    const QString &dataFileName() const { return _dataFileName; }
    /** Before the store is opened: its objects are plain ones, whatever class its models name. */
    void usePlainObjects() { _objectClasses = VXObjectClasses::Plain; }
    /** Before the store is opened: nothing is written to it, nor left beside it. */
    void openReadOnly() { _isReadOnly = true; }

    /** All models of the folder that can be read, as one; null when there is none. */
    VXManagedObjectModel::Ptr managedObjectModel(VXError *error = nullptr);
    /** With every data file of the folder attached that is of the data file's kind; without any the named one is made. Null
     * on failure. A name of neither kind, or none, gives a store in memory. As long as it lives, the folder is locked as one in
     * use (VXStoreLock). */
    VXPersistentStoreCoordinator::Ptr persistentStoreCoordinator(VXError *error = nullptr);
    /**
     * Copies the folder to a path that is free: the data files that are opened, as of one moment, though others write to them;
     * everything else, folders too, as it is. False on failure, which leaves a part there.
     */
    bool copyTo(const QString &path, VXError *error = nullptr);
    /** The same of models and data alone: enough to read them. */
    bool copyDataTo(const QString &path, VXError *error = nullptr);
    /** Of the first attached store that names an owner; empty when none does. */
    QVariantMap metadata();

protected:
    friend class VXCoreDataStoreClass;

    /** The class operations that this object's class stands for. */
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

/** The class operations of VXCoreDataStore; subclasses of both go together. Reentrant. */
class VX_EXPORT VXCoreDataStoreClass
{
public:
    virtual ~VXCoreDataStoreClass();

    /** The store of a folder; null when nothing is there or it holds no data file, which is logged. */
    VXCoreDataStore::Ptr storeWithPath(const QString &path) const;
    VXCoreDataStore::Ptr memoryStoreWithModel(const VXManagedObjectModel::Ptr &model) const;
    /** Names of the folder's entries with the extension "mom", sorted. */
    virtual QStringList modelFilesForStorePath(const QString &path) const;
    /** Names of the folder's entries with the extension "sqlite" or "xml", sorted. */
    virtual QStringList dataFilesForStorePath(const QString &path) const;
    /** Names of the folder's entries that are opened together with a data file: those with its extension, itself too. */
    static QStringList dataFilesLike(const QString &dataFileName, const QString &path);
    /** By its extension; of any other than "sqlite" and "xml" in memory. */
    static VXStoreType typeOfDataFile(const QString &dataFileName);
    /** A store of this class. */
    virtual VXCoreDataStore::Ptr makeStore(const QString &path, const QString &dataFileName) const;
};
