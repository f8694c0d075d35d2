#pragma once

#include "VXCoreDataStore.h"
#include "VXError.h"
#include "VXManagedObjectContext.h"
#include "VXPlugin.h"
#include "VXStoreMigration.h"
#include "VXStorePast.h"
#include "VXUserInterface.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

#include <functional>
#include <memory>
#include <optional>

class VXCoreDataStoreMigrationWindowController;
class VXStoreLock;

/**
 * The base of plugins that own a store of objects: contacts, calls, messages. The bundle's Info.plist names the store;
 * it is opened, or created, when the plugin loads. The first plugin whose store cannot be opened ends the application,
 * after the user was told which and why. While a store is open nobody can replace its folder (VXStoreLock). Main thread
 * only.
 */
class VX_EXPORT VXDataPlugin : public VXPlugin
{
    Q_OBJECT

public:
    using StorePtr = VXCoreDataStore::Ptr;

    Q_INVOKABLE VXDataPlugin();
    ~VXDataPlugin() override;

    /** "VXDataStoreName": unique among all plugins. */
    QString dataStoreName() const;
    /** "VXDataStoreType": "sqlite", "xml", or "memory" for a store that exists only during the process. */
    QString dataStoreTypeExtension() const;
    /** "VXDataStoreVersion": the version of the store's layout. Null: a store of any version is used as it is. */
    QString dataStoreVersion() const;
    /** The store folder; a store in memory has none. */
    QString dataStorePath() const;

    // -- What a subclass may provide
    /** The compiled models of the store: the bundle's resource "NAME.mom", if there is one. */
    virtual QStringList dataModelPaths() const;
    /** The class operations of the plugin's stores. */
    virtual const VXCoreDataStoreClass &coreDataStoreClass() const;
    /**
     * Repairs or fills a store that was just opened; its changes are saved afterwards. False, with an error, refuses
     * the store.
     */
    virtual bool validateManagedObjectContext(VXManagedObjectContext &context, VXError *error);
    /** Opens the object for the user. False, as in the base, when it cannot be opened. */
    Q_INVOKABLE virtual bool openManagedObjectWithURIRepresentation(const QUrl &uri);

    /**
     * The coordinator of the open store; the first call opens the store. Null, with the reason as error, when that
     * failed here or in another data plugin before, and for calls made while the first has not returned.
     */
    VXPersistentStoreCoordinator::Ptr persistentStoreCoordinator(VXError *error = nullptr);

    /** Has nobody get the store of that name, and its plugin not open it on loading: for callers that inspect the store
     *  first, or put another in its place. Null: holds back none. A store that is already open is not affected. */
    static void holdBackStore(const QString &storeName);
    /** Holds back all stores, permanently. */
    static void holdBackAllStores();

    // -- Making store folders
    /**
     * Makes a folder with the plugin's models and an empty data file with the plugin's identifier and version.
     * `extension`: of the data file; null for the plugin's own type. @return null on failure.
     */
    [[nodiscard]] VXCoreDataStore::Ptr createStoreAtPath(const QString &path, const QString &extension,
                                                         VXError *error = nullptr);
    /** The same in a new temporary folder that only this user can read. */
    [[nodiscard]] VXCoreDataStore::Ptr createStore(VXError *error = nullptr);
    /** Writes the plugin's identifier and version into the store's metadata; the next save stores them. */
    bool updateMetaDataForStore(VXCoreDataStore &store, VXError *error = nullptr);
    /** Has the store validated, and saves the resulting changes. False, logged, on failure. */
    bool _validateAndSaveStoreController(VXCoreDataStore &store, VXError *error = nullptr);

    // -- Copying stores, to upgrade, import and export them (VXDataPlugin+Migrate.cpp). Not on the main thread, except
    // in tests. `version` is the number that the source's version begins with, 0 for none.
    /**
     * Whether the objects of a store of that version may be copied as rows, where the models allow it. That is many
     * times faster, but calls none of the hooks below, nor the classes of the objects: so what those would derive from
     * other values must be in the old store already. The base returns false; override it if the plugin has no hooks, or
     * none that such a store needs except for attributes named by migratesAttribute().
     */
    virtual bool copiesRows(int version) const;
    /**
     * For a store whose rows may be copied: whether an attribute gets another value in the new objects than in the old
     * ones. The objects of an entity with such attributes get everything else as rows, keep their numbers, and are
     * passed to migrateObjectAttribute() once for each of these attributes; other hooks are only called by that. The
     * base returns false. An inherited attribute is asked for with the entity that declares it.
     */
    virtual bool migratesAttribute(const VXAttributeDescription &old, int version) const;
    /**
     * Makes the object that stands for an old one in the new store. Null leaves the old object out, as the base does if
     * the new model has no entity of that name. But for an entity with relationships, null ends the whole copy: nothing
     * is saved, which counts as success; a plugin that wants to leave out such objects overrides
     * migrateEntityAttributes() and migrateEntityRelationships() for that entity.
     */
    virtual VXManagedObjectPtr insertNewObjectForOldObject(const VXManagedObjectPtr &oldObject, int version,
                                                           VXManagedObjectContext &newContext, VXError *error);
    /** The value for the new object; the base returns the old one. None leaves the new object's value as it is; with an
     *  error set, the copy fails. */
    virtual QVariant migrateObjectValue(const QVariant &value, const QString &attribute,
                                        const VXManagedObjectPtr &oldObject, int version,
                                        const VXManagedObjectPtr &newObject, VXError *error);
    /** Copies one attribute, by name; one that the new object does not have is left out. */
    virtual bool migrateObjectAttribute(const QString &attribute, const VXManagedObjectPtr &oldObject, int version,
                                        const VXManagedObjectPtr &newObject, VXError *error);
    /** Copies all stored attributes. */
    virtual bool migrateObjectAttributes(const VXManagedObjectPtr &oldObject, int version,
                                         const VXManagedObjectPtr &newObject, VXError *error);
    /** Copies the objects of exactly this entity, not of those that inherit from it. @return empty on failure. */
    virtual std::optional<VXMigratedObjects> migrateEntityAttributes(const VXEntityDescription &entity,
                                                                     VXManagedObjectContext &oldContext, int version,
                                                                     VXManagedObjectContext &newContext,
                                                                     VXError *error);
    /** Copies one relationship, by name. @return the new object; null fails the copy. */
    virtual VXManagedObjectPtr migrateObjectRelationship(const QString &relationship,
                                                         const VXManagedObjectPtr &oldObject, int version,
                                                         const VXMigratedObjects &newObjects, VXError *error);
    /** Copies all relationships of the objects of an entity. */
    virtual bool migrateEntityRelationships(const VXEntityDescription &entity, VXManagedObjectContext &oldContext,
                                            int version, VXManagedObjectContext &newContext,
                                            const VXMigratedObjects &newObjects, VXError *error);
    /** Makes both passes over all entities of the old model. */
    virtual bool migrateManagedObjectContext(VXManagedObjectContext &oldContext, int version,
                                             VXManagedObjectContext &newContext, VXError *error);
    /**
     * Whether a property of the old model is compared with what the new objects have under the same name before they
     * are saved: each value except those that migrateObjectValue() changed, and each reference to an object that was
     * copied. False for what other hooks change.
     */
    virtual bool comparesProperty(const VXPropertyDescription &old, int version) const;
    /** A context with unsaved copies of all objects of the source, except those that were copied as rows: these are in
     *  the new store already. Null on failure, or, without an error, when the hooks want nothing saved. A VXException
     *  or std::exception that a hook throws becomes the error. */
    std::unique_ptr<VXManagedObjectContext> migrateStore(VXCoreDataStore &source, VXCoreDataStore &destination,
                                                         VXError *error);

    // -- Upgrading (VXDataPlugin+Upgrade.cpp)
    /** Where the old store is kept from the beginning of an upgrade until the user has decided what becomes of it. */
    QString upgradingPath() const;
    /** Settles the copy from before an upgrade, if there is one: after a failed open brings it back, after a successful
     *  one offers it as a backup. False, logged, on failure; false as well when the user put off the decision. */
    bool restoreUpgradingFile();
    bool removeUpgradingFile();
    /** Decides in advance what becomes of the old store, so that the user is not asked: null for the trash, otherwise
     *  the path of the backup. */
    void setUpgradeBackup(const QString &path) { _upgradeBackup = path; }
    /** Where the old store of the last upgrade went, once that is settled, or where the copy from before a merge is;
     *  null when it could not be kept. */
    const QString &oldStore() const { return _oldStore; }
    /** The path of the store that the next start opens; null when there is none. */
    QString storeToOpen() const;
    /** Whether that store is of an older version. Empty, with an error, when this cannot be determined, or it is of a
     *  newer one. */
    std::optional<bool> isUpgradeDue(VXError *error = nullptr) const;
    /** Whether that store would be upgraded if it took the place of the plugin's own. */
    bool isOlder(VXCoreDataStore &store) const { return ageOf(store.metadata()) == Age::Older; }
    /** The name of an entity that the plugin's model and that store define differently although their versions are
     *  equal, which happens when VXDataStoreVersion was not raised; null for none. */
    QString changedEntityOfStoreToOpen() const;
    /** Copies a store into a temporary one, to see what an upgrade or a merge would do. Nothing is written. */
    VXError rehearse(const StorePtr &source, bool isMerge);
    /** What became of the objects in the last upgrade, merge, validated export or rehearsal. */
    const QList<VXEntityMigration> &lastMigration() const { return _lastMigration; }
    /** Whether the hooks wanted nothing saved in that run, which counts as success. */
    bool hasSavedNothing() const { return _hasSavedNothing; }
    /** Whether the plugin's own store is at that path, even by way of a link; if so, an error is set. */
    bool isStoreItself(const QString &path, VXError *error) const;
    /** A store that can be taken back: same as ownStoreAt(), but not the present store. */
    StorePtr earlierStoreAt(const QString &path, VXError *error);
    /** The former stores, the latest first, including that of an upgrade that is not settled. */
    QList<VXStorePast::Entry> earlierStores() const;
    /**
     * Replaces the present store by a copy of a former one, or of a backup; the present one goes to the trash, or
     * beside its place. The store must not be open in this process (holdBackStore). While others have it open, the copy
     * waits for the next start: `isWaiting`.
     */
    VXError takeBack(const QString &from, bool *isWaiting);
    /** The path of a store that waits to replace the present one at the next start. */
    QString waitingPath() const;
    /** Withdraws the waiting store: it goes to the trash, or stays beside its place as "NAME.vxdatastore.withdrawn".
     *  The present store is kept. */
    VXError withdrawWaitingStore(QString *trashed) const;

    // -- Importing (VXDataPlugin+Import.cpp); what asks the user runs modally
    /** Opens a store folder of any version for reading only. Null when it is no store. */
    StorePtr createStoreFromFileAtPath(const QString &path, VXError *error = nullptr);
    /** For subclasses: describes to the user what an import of that store would bring in; null, as in the base, for
     *  nothing. The objects are plain ones of the model that the store was written with. */
    virtual QString importDescriptionFromStore(VXCoreDataStore &store);
    /** Whether the path is a store folder with a data file whose name begins like that of the plugin's own. */
    bool isValidStoreAtPath(const QString &path) const;
    VXOpenPanel importPanel() const;
    /** Asks for a file and imports it. False as well when the user cancels. */
    bool importStore(VXError *error = nullptr);
    /** Asks whether to merge the file's objects into the store, or to replace the store at the next start. Failures are
     *  shown. */
    bool importStoreAtPath(const QString &path, VXError *error = nullptr);
    /** Whether a store has any objects; false as well when it cannot be read. */
    static bool holdsObjects(VXCoreDataStore &store);
    /** Returns Default to merge, Other to replace, Alternate to do neither. */
    VXAlertButton askHowToImport(const QString &description) const;
    Q_INVOKABLE void importStoreAction();
    Q_INVOKABLE void importLegacyDataAction();
    /** Opens a store, for reading only, that may take the place of the plugin's own: as far as it says it belongs to
     *  the plugin, and is not of a newer version. */
    StorePtr ownStoreAt(const QString &path, VXError *error);
    /** Opens a store that can be imported, with the plugin's description of it. Does not ask the user. */
    StorePtr storeToImport(const QString &path, QString *description, VXError *error);
    /** Copies all objects that a store has now into the plugin's own, which must be open, with a progress window.
     *  Unless nothing was to be added, a copy from before the merge is then in the trash, or else beside the store, as
     *  a former store (oldStore()). */
    VXError mergeStore(const StorePtr &store);
    /** Copies a store as it is now to where it waits to replace the plugin's own at the next start. */
    VXError stageStore(VXCoreDataStore &store);

    /** Where an earlier generation of the program kept its data; null, as in the base, for nowhere. */
    virtual QString legacyDataPath() const;
    bool hasLegacyData() const;
    bool importLegacyData(VXError *error = nullptr);
    /** Copies the XML store "global.xml" of a folder, if there is one, into the context, which is not saved, and moves
     *  the folder to the trash. */
    bool importLegacyXMLBundle(const QString &folder, VXManagedObjectContext &context);
    /** Reads a property list of any kind from a file. None on failure. */
    QVariant loadDictionaryFromFilePath(const QString &path, VXError *error = nullptr) const;

    // -- Exporting (VXDataPlugin+Export.cpp)
    /** Asks where to export to, and whether to validate, which copies the objects as an upgrade does. Failures are
     *  shown. */
    Q_INVOKABLE void exportStoreAction();
    /** The same without asking. What is at the path goes to the trash once the export is whole. */
    VXError exportStoreTo(const QString &path, bool validates);
    /** Why no copy of the store can be put there; none when it can. Creates the folders above the path. */
    VXError prepareBackupPlace(const QString &path) const;

protected:
    void _pluginWillLoad() override;
    /** For descriptions of imports: how many objects of an entity a store has; 0 if it does not have the entity, or
     *  cannot be read. */
    static qsizetype countInStore(VXCoreDataStore &store, const QString &entityName);

private:
    friend class VXStoreUpgradeWindowController;

    enum class Age { Same, Older, Newer };

    VXManagedObjectModel::Ptr ownModel(VXError *error) const;
    bool copyModels(const QString &path, VXError *error) const;
    VXCoreDataStore::Ptr openStore(VXError *error);
    VXCoreDataStore::Ptr _loadMemoryStoreController(VXError *error);
    VXCoreDataStore::Ptr _loadBundleStoreController(VXError *error);
    VXCoreDataStore::Ptr createBundleStore(const QString &path, VXError *error);
    bool installWaitingStore(const QString &path, bool keepsBeside, VXError *error);
    bool moveInWaitingStore(const QString &waiting, const QString &path, bool keepsBeside, VXError *error);
    void tellOfWaitingStore() const;
    VXCoreDataStore::Ptr _loadBundleStoreFile(const QString &path, VXError *error);
    QString smartFilterVersion() const;
    std::optional<QVariantMap> metadataOfStore(const QString &path, VXError *error) const;
    VXError problemOfOwner(const QVariantMap &metadata, const QString &dataFileName) const;
    Age ageOf(const QVariantMap &metadata) const;
    std::optional<Age> ageOfStore(const QString &path, VXError *error) const;
    bool hasEntityOf(VXCoreDataStore &store) const;
    StorePtr openOrUpgrade(const QString &path, VXError *error);
    VXError upgradeStore(const QString &path);
    bool isUpgradingFileLone() const;
    bool putUpgradingFileBack();
    bool bringBackLoneUpgradingFile(const QString &path, VXError *error);
    void removeTakenBack() const;
    bool takeOpeningLock(const QString &path, VXError *error);
    bool saveUpgradingFileAsBackup(const QString &upgrading);
    StorePtr snapshotOf(VXCoreDataStore &store, const QString &path, VXError *error) const;
    VXError copyBeforeMerge(const QString &place);
    void keepMerged(const QString &before);
    void askForRelaunch();
    void tellOfEmptyExport(const QString &path) const;
    using Fill = std::function<VXError(const QString &folder)>;
    using Copy = std::function<bool(VXCoreDataStore &store, const QString &folder, VXError *error)>;
    VXError exportTo(const QString &path, const Fill &fill) const;
    VXError exportPlain(const QString &folder, const QString &path, const Copy &copy) const;
    VXError exportValidated(const QString &folder);
    StorePtr storeToExport(VXError *error) const;
    VXError problemWithPlace(const QString &path) const;
    bool moveUpgradingFile(const QString &upgrading, const QString &place);
    bool trashUpgradingFile(const QString &upgrading);
    void tellOfNoRoom(const VXManagedObjectPtr &oldObject, const VXRelationshipDescription &old, qsizetype found,
                      qsizetype leftOut) const;
    bool copyObjects(VXManagedObjectContext &oldContext, int version, VXManagedObjectContext &newContext,
                     VXError *error);
    void tellOfMissingMembers(const VXManagedObjectPtr &oldObject, const QString &relationship,
                              const QList<VXManagedObjectID> &missing, const VXMigratedObjects &newObjects) const;
    bool saveStamp(VXCoreDataStore &store, VXError *error);
    QString changedEntity(const VXManagedObjectModel &stored) const;
    void tellOfChangedModel(const VXManagedObjectModel &stored) const;
    QString textAboutEarlierStores(const VXError &reason) const;
    void endApplication(const VXError &error, const VXError &reason);

    VXError run(VXCoreDataStoreMigrationWindowController &controller);
    std::optional<bool> copyRows(VXManagedObjectContext &oldContext, int version, VXManagedObjectContext &newContext,
                                 VXError *error);

    VXCoreDataStore::Ptr _sharedStoreController;
    std::optional<QString> _upgradeBackup;
    QString _oldStore;
    QList<VXEntityMigration> _lastMigration;
    bool _hasSavedNothing = false;
    bool _isOpening = false;
    bool _hasUpgradeFailed = false;                  // the store was put back, or never touched
    bool _hasUpgradeBegun = false;                   // in the last upgrade the store was set aside
    std::shared_ptr<const VXStoreLock> _openingLock; // until the open store has a lock of its own
};
