#include "VXDataPlugin.h"

#include "VXCoreDataSaveError.h"
#include "VXDataManager.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFolderInMaking.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"
#include "VXStoreLock.h"
#include "VXStoreModels.h"
#include "VXStorePast.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

using StorePtr = VXCoreDataStore::Ptr;

namespace {

bool isEmptyFolder(const QString &path)
{
    return QFileInfo(path).isDir() &&
           QDir(path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

VXError storeError(const QString &text, const QString &suggestion)
{
    return VXMakeError(VXLocalizedString(text), "%s", qUtf8Printable(suggestion));
}

} // namespace

// -- Making store folders

QString VXDataPlugin::smartFilterVersion() const
{
    return dataModelPaths().contains(VXDataManager::smartFilterDataModelPath())
               ? VXDataManager::smartFilterModelVersion()
               : QString();
}

bool VXDataPlugin::copyModels(const QString &path, VXError *error) const
{
    const QStringList models = dataModelPaths(); // perhaps none: the folder may have one
    return std::all_of(models.cbegin(), models.cend(), [&](const QString &model) {
        const QString copy = path + u'/' + QFileInfo(model).fileName();
        if (QFile::copy(model, copy) && QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner))
            return true;
        VXLogMethod(VXLogError,
                    "createStoreAtPath:dataFileExtension:error:", u"Could not copy file: %1 -> %2"_s.arg(model, copy));
        VXSetError(error, VXMakeError(VXLocalizedString(u"Unable to copy file"_s)));
        return false;
    });
}

StorePtr VXDataPlugin::createStoreAtPath(const QString &path, const QString &extension, VXError *error)
{
    const bool isNew = !VXExistsAtPath(path);
    if (const VXError problem = VXFileManager::defaultManager().verifyPathExists(path)) {
        VXLogMethod(VXLogError, "createStoreAtPath:dataFileExtension:error:", problem.description());
        VXSetError(error, problem);
        return nullptr;
    }
    if (copyModels(path, error)) {
        const QString dataFileName =
            dataStoreName() + u'.' + (extension.isNull() ? dataStoreTypeExtension() : extension);
        StorePtr store = coreDataStoreClass().makeStore(path, dataFileName);
        VXAssert(store != nullptr, "FAILED: "_L1 + path);
        if (updateMetaDataForStore(*store, error))
            return store;
    }
    if (isNew) // an incomplete store would be taken for a damaged one
        QDir(path).removeRecursively();
    return nullptr;
}

StorePtr VXDataPlugin::createStore(VXError *error)
{
    const QString folder = VXFileManager::defaultManager().createUniqueTemporaryFolder(dataStoreName());
    if (!folder.isNull())
        return createStoreAtPath(QDir::cleanPath(folder + u'/' + dataStoreName()), {}, error);
    VXSetError(error, storeError(u"Unable to make a temporary folder"_s, QDir::tempPath()));
    return nullptr;
}

bool VXDataPlugin::updateMetaDataForStore(VXCoreDataStore &store, VXError *error)
{
    constexpr const char *operation = "updateMetaDataForStore:error:";
    const VXPersistentStoreCoordinator::Ptr coordinator = store.persistentStoreCoordinator(error);
    if (!coordinator) // logged already
        return false;
    const QStringList names = coreDataStoreClass().dataFilesForStorePath(store.storePath());
    if (names.isEmpty()) {
        VXLogMethod(VXLogError, operation, "missing data file "_L1 + VXDescription(store.storePath()));
        VXSetError(error, storeError(u"Missing data store"_s, store.storePath()));
        return false;
    }
    const QString path = store.storePath() + u'/' + names.constLast();
    const auto attached = coordinator->persistentStoreForPath(path);
    if (!attached) {
        const QString url = QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
        VXLogMethod(VXLogError, operation, u"missing data store %1: %2"_s.arg(names.constLast(), url));
        VXSetError(error, storeError(u"Missing data store"_s, url));
        return false;
    }
    QVariantMap metadata{{VXStoreOwnerIdentifierKey, identifier()}};
    if (const QString version = dataStoreVersion(); !version.isNull())
        metadata.insert(VXStoreVersionKey, version);
    if (const QString version = smartFilterVersion(); !version.isNull())
        metadata.insert(VXStoreSmartFilterVersionKey, version);
    attached->changeMetadata(metadata);
    return true;
}

bool VXDataPlugin::_validateAndSaveStoreController(VXCoreDataStore &store, VXError *error)
{
    constexpr const char *operation = "_validateAndSaveStoreController:";
    const VXPersistentStoreCoordinator::Ptr coordinator = store.persistentStoreCoordinator(error);
    if (!coordinator) // logged already
        return false;
    if (!VXHasStoreModels(dataModelPaths(), store.storePath()))
        tellOfChangedModel(coordinator->model());
    VXManagedObjectContext context(coordinator);
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    VXError problem;
    if (!validateManagedObjectContext(context, &problem)) {
        VXLogMethod(VXLogError, operation, "validate: "_L1 + problem.description());
        VXSetError(error, problem);
        return false;
    }
    if (context.save(&problem))
        return true;
    VXLogMethod(VXLogError, operation, "save: "_L1 + problem.description());
    VXLogCoreDataSaveError(problem);
    VXSetError(error, problem);
    return false;
}

// -- Opening the plugin's own

StorePtr VXDataPlugin::openStore(VXError *error)
{
    return dataStoreTypeExtension() == "memory"_L1 ? _loadMemoryStoreController(error)
                                                   : _loadBundleStoreController(error);
}

StorePtr VXDataPlugin::_loadMemoryStoreController(VXError *error)
{
    const VXManagedObjectModel::Ptr model = ownModel(error);
    return model ? coreDataStoreClass().memoryStoreWithModel(model) : nullptr;
}

VXManagedObjectModel::Ptr VXDataPlugin::ownModel(VXError *error) const
{
    QList<VXManagedObjectModel::Ptr> models;
    for (const QString &path : dataModelPaths()) {
        models.append(VXManagedObjectModel::modelWithContentsOfFile(path, error));
        if (!models.constLast())
            return nullptr;
    }
    return VXManagedObjectModel::modelByMergingModels(models, error);
}

StorePtr VXDataPlugin::_loadBundleStoreController(VXError *error)
{
    const QString path = dataStorePath();
    do { // repeated if it waited for an upgrade that was then cut short
        _openingLock = nullptr;
        if (!bringBackLoneUpgradingFile(path, error) || !installWaitingStore(path, false, error))
            return nullptr;
        // From here on nobody can replace the store; once it is open it holds a lock of its own.
        if (!takeOpeningLock(path, error))
            return nullptr;
    } while (isUpgradingFileLone());
    tellOfWaitingStore();
    VXError problem;
    StorePtr store;
    if (VXExistsAtPath(path) && !isEmptyFolder(path)) {
        VXFolderInMaking::removeLeftovers(QFileInfo(path).path());
        store = _loadBundleStoreFile(path, &problem);
    } else {
        store = createBundleStore(path, &problem);
        if (!store)
            VXLogMethod(VXLogError, "_loadBundleStoreController:", problem.description());
    }
    if (!store)
        VXSetError(error, problem ? problem : VXMakeError(VXLocalizedString(u"Unable to read data file"_s)));
    return store;
}

// If two processes create it at once, one uses the other's.
StorePtr VXDataPlugin::createBundleStore(const QString &path, VXError *error)
{
    VXFolderInMaking folder(path);
    if (folder.problem()) {
        VXSetError(error, folder.problem());
        return nullptr;
    }
    {
        const StorePtr store = createStoreAtPath(folder.path(), {}, error);
        if (!store || !VXManagedObjectContext(store->persistentStoreCoordinator()).save(error))
            return nullptr;
    } // closes the store
    bool isTaken = false;
    return folder.moveIntoPlace(&isTaken, error) || isTaken ? _loadBundleStoreFile(path, error) : nullptr;
}

// -- What waits in the install folder replaces the store, which goes to the trash

QString VXDataPlugin::waitingPath() const
{
    return VXDataManager::sharedDataInstallPath() + u'/' + QFileInfo(dataStorePath()).fileName();
}

bool VXDataPlugin::installWaitingStore(const QString &path, bool keepsBeside, VXError *error)
{
    const QString waiting = waitingPath();
    if (!VXExistsAtPath(waiting))
        return true;
    VXError problem = VXFileManager::defaultManager().verifyPathExists(QFileInfo(path).path());
    bool isBusy = false;
    const VXStoreLock::Ptr lock =
        problem ? nullptr
                : VXStoreLock::take(path, VXStoreLock::Purpose::Replace, std::chrono::seconds(0), &problem, &isBusy);
    if (lock)
        return !VXExistsAtPath(waiting) ||
               moveInWaitingStore(waiting, path, keepsBeside, error); // or another process has just installed it
    VXSetError(error, isBusy ? VXError() : problem);
    return isBusy;
}

bool VXDataPlugin::moveInWaitingStore(const QString &waiting, const QString &path, bool keepsBeside, VXError *error)
{
    VXFileManager &files = VXFileManager::defaultManager();
    if (VXExistsAtPath(path)) {
        if (const VXError problem = VXStorePast::moveReplaced(path, waiting, upgradingPath(), keepsBeside)) {
            VXSetError(error, problem);
            return false;
        }
    }
    if (!files.moveItemAtPath(waiting, path))
        return true;
    VXLogMethod(VXLogError, "_loadBundleStoreController:", u"Could not move file: %1 -> %2"_s.arg(waiting, path));
    VXSetError(error, VXMakeError(VXLocalizedString(u"Unable to move file"_s)));
    return false;
}

// Tells, in the log and to the user who started the program, that the imported data is not in use yet.
void VXDataPlugin::tellOfWaitingStore() const
{
    if (!VXExistsAtPath(waitingPath()))
        return;
    const QString text =
        u"The store \"%1\" is in use: its replacement waits for a start when nobody has it open"_s.arg(dataStoreName());
    VXLogMethod(VXLogWarning, "_loadBundleStoreController:", text);
    VXConsoleLog(text);
}

QString VXDataPlugin::changedEntity(const VXManagedObjectModel &stored) const
{
    const VXManagedObjectModel::Ptr own = dataStoreVersion().isNull() ? nullptr : ownModel(nullptr);
    if (!own)
        return {};
    for (const VXEntityDescription *const entity : own->entities()) {
        const VXEntityDescription *const there = stored.entityForName(entity->name());
        const bool isSame =
            there != nullptr && there->managedObjectClassName() == entity->managedObjectClassName() &&
            stored.entityVersionHashes().value(entity->name()) == own->entityVersionHashes().value(entity->name());
        if (!isSame)
            return entity->name();
    }
    return {};
}

// Warns developers who changed the model but not the version, before keys turn out to be missing.
void VXDataPlugin::tellOfChangedModel(const VXManagedObjectModel &stored) const
{
    const QString entity = changedEntity(stored);
    if (entity.isNull())
        return;
    const QString text = u"Entity \"%1\" of the plugin %2 is another one in its store \"%3\", which keeps the model it "
                         "was written with: raise VXDataStoreVersion with each change of the model"_s.arg(
                             entity, VXDescription(identifier()), dataStoreName());
    VXLogMethod(VXLogWarning, "_validateAndSaveStoreController:", text);
    if (VXPluginProxy *const proxy = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier()))
        proxy->setLoadError(text);
}
