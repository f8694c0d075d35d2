#pragma once

#include "VXCoreDataStore.h"
#include "VXError.h"
#include "VXManagedObjectContext.h"
#include "VXPlugin.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

#include <memory>

class VXStoreLock;

/**
 * The base of plugins that own a store of objects: contacts, calls, messages. The bundle's Info.plist names the store;
 * it is opened, or made, when the plugin loads. The first plugin whose store cannot be opened ends the application,
 * after the user was told who and why. As long as it is open nobody replaces its folder (VXStoreLock). Main thread only.
 */
class VX_EXPORT VXDataPlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXDataPlugin();
    ~VXDataPlugin() override;

    /** "VXDataStoreName": unique among all plugins. */
    QString dataStoreName() const;
    /** "VXDataStoreType": "sqlite", "xml", or "memory" for a store that is gone with the process. */
    QString dataStoreTypeExtension() const;
    /** "VXDataStoreVersion": of the layout of the store. Null: a store of any version is taken as it is. */
    QString dataStoreVersion() const;
    /** The store folder, which a store in memory does without. */
    QString dataStorePath() const;

    // -- What a subclass may provide
    /** The compiled models of the store: the bundle's resource "NAME.mom", if there is one. */
    virtual QStringList dataModelPaths() const;
    /** The class of store objects. */
    virtual const VXCoreDataStoreClass &coreDataStoreClass() const;
    /**
     * Repairs or seeds a store that was just opened; what it changes is saved after. False, with an error, refuses the
     * store.
     */
    virtual bool validateManagedObjectContext(VXManagedObjectContext &context, VXError *error);
    /** Opens the object for the user. False, as in the base: it cannot be opened. */
    Q_INVOKABLE virtual bool openManagedObjectWithURIRepresentation(const QUrl &uri);

    /**
     * The open store's, which the first call opens. Null when that failed, here or in another data plugin before, and, as
     * long as that call has not returned, to whoever asks meanwhile.
     */
    VXPersistentStoreCoordinator::Ptr persistentStoreCoordinator();

    // -- Making store folders
    /**
     * Makes a folder with the plugin's models and an empty data file, which bears the plugin's identifier and version.
     * `extension`: of the data file, null for the plugin's own type. @return null on failure.
     */
    [[nodiscard]] VXCoreDataStore::Ptr createStoreAtPath(const QString &path, const QString &extension,
                                                         VXError *error = nullptr);
    /** The same in a new temporary folder, for this user only. */
    [[nodiscard]] VXCoreDataStore::Ptr createStore(VXError *error = nullptr);
    /** Writes the plugin's identifier and version into the store's metadata; they are saved with the next save. */
    bool updateMetaDataForStore(VXCoreDataStore &store, VXError *error = nullptr);
    /** Has the store validated, and saves what that changed. False, logged, on failure. */
    bool _validateAndSaveStoreController(VXCoreDataStore &store, VXError *error = nullptr);

protected:
    void _pluginWillLoad() override;

private:
    VXManagedObjectModel::Ptr ownModel(VXError *error) const;
    bool copyModels(const QString &path, VXError *error) const;
    VXCoreDataStore::Ptr openStore(VXError *error);
    VXCoreDataStore::Ptr _loadMemoryStoreController(VXError *error);
    VXCoreDataStore::Ptr _loadBundleStoreController(VXError *error);
    VXCoreDataStore::Ptr createBundleStore(const QString &path, VXError *error);
    bool installWaitingStore(const QString &path, VXError *error);
    bool moveInWaitingStore(const QString &waiting, const QString &path, VXError *error);
    void tellOfWaitingStore(const QString &path) const;
    VXCoreDataStore::Ptr _loadBundleStoreFile(const QString &path, VXError *error);
    bool hasOwnVersion(const QString &path, const QString &dataFileName, VXError *error) const;
    void tellOfChangedModel(const VXManagedObjectModel &stored) const;
    void endApplication(const VXError &error, const VXError &reason);

    VXCoreDataStore::Ptr _sharedStoreController;
    bool _isOpening = false;
    std::shared_ptr<const VXStoreLock> _openingLock; // until the open store has one of its own
};
