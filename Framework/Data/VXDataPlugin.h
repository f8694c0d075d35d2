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
 * it is opened, or made, when the plugin loads. The first plugin whose store cannot be opened ends the application,
 * after the user was told who and why. As long as it is open nobody replaces its folder (VXStoreLock). Main thread only.
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
     * long as that call has not returned, to whoever asks meanwhile. The error then tells why.
     */
    VXPersistentStoreCoordinator::Ptr persistentStoreCoordinator(VXError *error = nullptr);

    /** Nobody gets the store of that name (null: holds back none), nor is it opened when its plugin loads: for who looks at it
     * first, or puts another in its place. Of one that is open already nothing changes. */
    static void holdBackStore(const QString &storeName);
    /** The same of all stores, for good. */
    static void holdBackAllStores();

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

    // -- Copying stores, to upgrade, import and export them (VXDataPlugin+Migrate.cpp). Not on the main thread, unless a test
    // does it. `version` is the number that the source's version begins with, 0 for none.
    /**
     * Whether the objects of a store of that version may be copied as the rows they are, where the models allow it: many times
     * faster, but none of the hooks below is called, nor the classes of objects. So what those make of other values must be in
     * the old store already. The base says no: override it where there are no hooks, or none that such a store needs, but those
     * that migratesAttribute tells of.
     */
    virtual bool copiesRows(int version) const;
    /**
     * Of a store whose rows may be copied: whether the new objects are to have something else for an attribute than what the old
     * ones have. Those of an entity with such attributes then get all else as rows, keep their numbers, and are given to
     * migrateObjectAttribute, once for each of these attributes; no other hook is called but by that. The base says no. An
     * inherited attribute is that of the entity that names it.
     */
    virtual bool migratesAttribute(const VXAttributeDescription &old, int version) const;
    /**
     * The object that stands for an old one in the new store. Null, as in the base where the new model has no entity of that
     * name: it is left out. Of an entity with relationships that takes the whole copy with it: then nothing is saved, and that
     * counts as success; such a plugin overrides migrateEntityAttributes and migrateEntityRelationships for that entity.
     */
    virtual VXManagedObjectPtr insertNewObjectForOldObject(const VXManagedObjectPtr &oldObject, int version,
                                                           VXManagedObjectContext &newContext, VXError *error);
    /** What the new object is to have in place of the old value: here the same. None leaves it as it is; with an error set, it
     * fails. */
    virtual QVariant migrateObjectValue(const QVariant &value, const QString &attribute,
                                        const VXManagedObjectPtr &oldObject, int version,
                                        const VXManagedObjectPtr &newObject, VXError *error);
    /** One attribute, by name; one that the new object has not is left out. */
    virtual bool migrateObjectAttribute(const QString &attribute, const VXManagedObjectPtr &oldObject, int version,
                                        const VXManagedObjectPtr &newObject, VXError *error);
    /** All attributes that are stored. */
    virtual bool migrateObjectAttributes(const VXManagedObjectPtr &oldObject, int version,
                                         const VXManagedObjectPtr &newObject, VXError *error);
    /** The objects of an entity, not of those that inherit from it. @return empty on failure. */
    virtual std::optional<VXMigratedObjects> migrateEntityAttributes(const VXEntityDescription &entity,
                                                                     VXManagedObjectContext &oldContext, int version,
                                                                     VXManagedObjectContext &newContext,
                                                                     VXError *error);
    /** One relationship, by name. @return the new object; null fails the copy. */
    virtual VXManagedObjectPtr migrateObjectRelationship(const QString &relationship,
                                                         const VXManagedObjectPtr &oldObject, int version,
                                                         const VXMigratedObjects &newObjects, VXError *error);
    /** All relationships of the objects of an entity. */
    virtual bool migrateEntityRelationships(const VXEntityDescription &entity, VXManagedObjectContext &oldContext,
                                            int version, VXManagedObjectContext &newContext,
                                            const VXMigratedObjects &newObjects, VXError *error);
    /** Both passes over all entities that the old model has. */
    virtual bool migrateManagedObjectContext(VXManagedObjectContext &oldContext, int version,
                                             VXManagedObjectContext &newContext, VXError *error);
    /**
     * Whether a property of the old model is held against what the new objects have under the same name, before they are saved:
     * each value, but where migrateObjectValue gave another one, and each reference to what was copied. False for what other
     * hooks change.
     */
    virtual bool comparesProperty(const VXPropertyDescription &old, int version) const;
    /** A context with copies of all objects of the source, not saved; of rows that were copied as they are it knows nothing, they
     * are in the new store already. Null on failure, or, without an error, when the hooks want
     * nothing saved. What the hooks throw becomes the error, if it is a VXException or std::exception. */
    std::unique_ptr<VXManagedObjectContext> migrateStore(VXCoreDataStore &source, VXCoreDataStore &destination,
                                                         VXError *error);

    // -- Upgrading (VXDataPlugin+Upgrade.cpp)
    /** Where the old store lies from the beginning of an upgrade until the user has decided what becomes of it. */
    QString upgradingPath() const;
    /** Settles a pre-upgrade copy, if there is one, after a failed or a successful open: brings it back, or offers it as a
     * backup. False, logged, when that failed; also when the user put off the decision on the backup. */
    bool restoreUpgradingFile();
    bool removeUpgradingFile();
    /** Decides beforehand what becomes of the old store, and nobody is asked: null for the trash, else where it goes as a backup. */
    void setUpgradeBackup(const QString &path) { _upgradeBackup = path; }
    /** Where the old store of the last upgrade went, once that is settled, or what the store was before a merge; null when it
     * could not be kept. */
    const QString &oldStore() const { return _oldStore; }
    /** The store that the next start opens, wherever it lies now; null when there is none. */
    QString storeToOpen() const;
    /** Whether that one is of an older version. Empty, with an error, when it cannot be told, or is of a newer one. */
    std::optional<bool> isUpgradeDue(VXError *error = nullptr) const;
    /** Whether a store that takes that one's place would be upgraded. */
    bool isOlder(VXCoreDataStore &store) const { return ageOf(store.metadata()) == Age::Older; }
    /** An entity of the plugin's model that is another one in that store, though of the same version, as when VXDataStoreVersion
     * was not raised; null for none. */
    QString changedEntityOfStoreToOpen() const;
    /** Copies a store into one that is gone afterwards, to see what an upgrade or a merge would do. Nothing is written. */
    VXError rehearse(const StorePtr &source, bool isMerge);
    /** What became of the objects in the last upgrade, merge, validated export or rehearsal. */
    const QList<VXEntityMigration> &lastMigration() const { return _lastMigration; }
    /** Whether the hooks wanted nothing saved in that, which counts as success. */
    bool hasSavedNothing() const { return _hasSavedNothing; }
    /** Whether the plugin's own store lies at a path, told as an error, whoever links to it. */
    bool isStoreItself(const QString &path, VXError *error) const;
    /** One that can be taken back: as ownStoreAt, and not the present one. */
    StorePtr earlierStoreAt(const QString &path, VXError *error);
    /** The stores from before, the last one first; with that of an upgrade that is not settled. */
    QList<VXStorePast::Entry> earlierStores() const;
    /**
     * Has a copy of an earlier store, or of a backup, take the place of the present one, which goes to the trash, or
     * beside its place. The store must not be open here (holdBackStore). While others have it open, it waits for the next start: `isWaiting`.
     */
    VXError takeBack(const QString &from, bool *isWaiting);
    /** Where a store lies that is to replace the present one at the next start. */
    QString waitingPath() const;
    /** That one goes to the trash, or beside where it waited as "NAME.vxdatastore.withdrawn", and the present one stays. */
    VXError withdrawWaitingStore(QString *trashed) const;

    // -- Importing (VXDataPlugin+Import.cpp); what asks the user runs modally
    /** The store of a folder of whatever version, to be read only. Null when it is none. */
    StorePtr createStoreFromFileAtPath(const QString &path, VXError *error = nullptr);
    /** For subclasses: what an import of that store would bring in, for the user; null, as in the base, for nothing. The objects
     * are plain ones of the model that the store was written with. */
    virtual QString importDescriptionFromStore(VXCoreDataStore &store);
    /** A store folder with a data file whose name begins as the store's own. */
    bool isValidStoreAtPath(const QString &path) const;
    VXOpenPanel importPanel() const;
    /** Asks for a file and imports it. False, too, when the user cancels. */
    bool importStore(VXError *error = nullptr);
    /** Asks whether to merge the file's objects with the store's, or to replace these at the next start. Failures are shown. */
    bool importStoreAtPath(const QString &path, VXError *error = nullptr);
    /** Whether a store has any; false, too, when it cannot be read. */
    static bool holdsObjects(VXCoreDataStore &store);
    /** Default to merge, Other to replace, Alternate for neither. */
    VXAlertButton askHowToImport(const QString &description) const;
    Q_INVOKABLE void importStoreAction();
    Q_INVOKABLE void importLegacyDataAction();
    /** The same of one that may take the place of the plugin's store: as far as it says it is the plugin's, and not too new. */
    StorePtr ownStoreAt(const QString &path, VXError *error);
    /** A file that is one to import, and what the plugin says of it. Asks nobody. */
    StorePtr storeToImport(const QString &path, QString *description, VXError *error);
    /** Copies all objects of a store, as of now, into the plugin's own, which must be open, with a progress window. What that was
     * before is then in the trash, or else beside the store, as an earlier store (oldStore), unless nothing was to be added. */
    VXError mergeStore(const StorePtr &store);
    /** Puts a copy of a store, as of now, where it waits to replace the plugin's own at the next start. */
    VXError stageStore(VXCoreDataStore &store);

    /** Where an earlier generation kept its data; null, as in the base, for nowhere. */
    virtual QString legacyDataPath() const;
    bool hasLegacyData() const;
    bool importLegacyData(VXError *error = nullptr);
    /** Copies the XML store "global.xml" of a folder, if it has one, into the context, which is not saved, and trashes the folder.
     */
    bool importLegacyXMLBundle(const QString &folder, VXManagedObjectContext &context);
    /** A property list of any kind from a file. None on failure. */
    QVariant loadDictionaryFromFilePath(const QString &path, VXError *error = nullptr) const;

    // -- Exporting (VXDataPlugin+Export.cpp)
    /** Asks where to, and whether to validate, which means to copy the objects as an upgrade does. Failures are shown. */
    Q_INVOKABLE void exportStoreAction();
    /** The same without asking. What lies there goes to the trash once the export is whole. */
    VXError exportStoreTo(const QString &path, bool validates);
    /** Why no copy of the store can be put there; none when it can. Makes the folders above it. */
    VXError prepareBackupPlace(const QString &path) const;

protected:
    void _pluginWillLoad() override;
    /** For descriptions of imports: how many objects of an entity a store has; 0 without such an entity, or when it cannot be
     * read. */
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
    bool _hasUpgradeFailed = false;                  // and the store was put back, or never touched
    bool _hasUpgradeBegun = false;                   // the last one: the store was set aside
    std::shared_ptr<const VXStoreLock> _openingLock; // until the open store has one of its own
};
