#include "VXDataPlugin.h"

#include "VXCoreDataSaveError.h"
#include "VXDataManager.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXVersion.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtCore/QUrl>

#include <algorithm>
#include <cerrno>
#include <cstdio>

using namespace Qt::StringLiterals;

using StorePtr = VXCoreDataStore::Ptr;

namespace {

bool isThere(const QString &path)
{
    return QFileInfo::exists(path) || QFileInfo(path).isSymLink();
}

VXError storeError(const QString &text, const QString &suggestion)
{
    return VXMakeError(VXLocalizedString(text), "%s", qUtf8Printable(suggestion));
}

} // namespace

// -- Making store folders

bool VXDataPlugin::copyModels(const QString &path, VXError *error) const
{
    const QStringList models = dataModelPaths();
    return std::all_of(models.cbegin(), models.cend(), [&](const QString &model) {
        const QString copy = path + u'/' + QFileInfo(model).fileName();
        if (QFile::copy(model, copy))
            return true;
        VXLogMethod(VXLogError,
                    "createStoreAtPath:dataFileExtension:error:", u"Could not copy file: %1 -> %2"_s.arg(model, copy));
        VXSetError(error, VXMakeError(VXLocalizedString(u"Unable to copy file"_s)));
        return false;
    });
}

StorePtr VXDataPlugin::createStoreAtPath(const QString &path, const QString &extension, VXError *error)
{
    const bool isNew = !isThere(path);
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
    if (isNew) // half a store would be taken for a damaged one
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
    const VXPersistentStoreCoordinator::Ptr coordinator = store.persistentStoreCoordinator();
    const QStringList names = coreDataStoreClass().dataFilesForStorePath(store.storePath());
    if (names.isEmpty()) {
        VXLogMethod(VXLogError, operation, "missing data file "_L1 + VXDescription(store.storePath()));
        VXSetError(error, storeError(u"Missing data store"_s, store.storePath()));
        return false;
    }
    const QString path = store.storePath() + u'/' + names.constLast();
    const auto attached = coordinator ? coordinator->persistentStoreForPath(path) : nullptr;
    if (!attached) {
        const QString url = QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
        VXLogMethod(VXLogError, operation, u"missing data store %1: %2"_s.arg(names.constLast(), url));
        VXSetError(error, storeError(u"Missing data store"_s, url));
        return false;
    }
    QVariantMap metadata = attached->metadata();
    metadata.insert(VXStoreOwnerIdentifierKey, identifier());
    if (const QString version = dataStoreVersion(); !version.isNull())
        metadata.insert(VXStoreVersionKey, version);
    attached->setMetadata(metadata);
    return true;
}

bool VXDataPlugin::_validateAndSaveStoreController(VXCoreDataStore &store)
{
    constexpr const char *operation = "_validateAndSaveStoreController:";
    const VXPersistentStoreCoordinator::Ptr coordinator = store.persistentStoreCoordinator();
    if (!coordinator) // which was logged
        return false;
    VXManagedObjectContext context(coordinator);
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    VXError error;
    if (!validateManagedObjectContext(context, &error)) {
        VXLogMethod(VXLogError, operation, "validate: "_L1 + error.description());
        return false;
    }
    if (context.save(&error))
        return true;
    VXLogMethod(VXLogError, operation, "save: "_L1 + error.description());
    VXLogCoreDataSaveError(error);
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
    QList<VXManagedObjectModel::Ptr> models;
    for (const QString &path : dataModelPaths()) {
        models.append(VXManagedObjectModel::modelWithContentsOfFile(path, error));
        if (!models.constLast())
            return nullptr;
    }
    const VXManagedObjectModel::Ptr model = VXManagedObjectModel::modelByMergingModels(models, error);
    return model ? coreDataStoreClass().memoryStoreWithModel(model) : nullptr;
}

StorePtr VXDataPlugin::_loadBundleStoreController(VXError *error)
{
    const QString path = dataStorePath();
    if (!installWaitingStore(path, error))
        return nullptr;
    VXError problem;
    StorePtr store;
    if (isThere(path)) {
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

// Made aside and then moved into place whole: a process that is killed meanwhile leaves nothing that looks like a damaged
// store, and of two that make it at once one takes the other's.
StorePtr VXDataPlugin::createBundleStore(const QString &path, VXError *error)
{
    const QString folder = QFileInfo(path).path();
    const bool hasFolder = !VXFileManager::defaultManager().verifyPathExists(folder);
    const QTemporaryDir aside(folder + "/.new.XXXXXX"_L1);
    if (!hasFolder || !aside.isValid())
        return createStoreAtPath(path, {}, error); // which cannot be, and tells why
    const QString whole = aside.filePath(QFileInfo(path).fileName());
    {
        const StorePtr store = createStoreAtPath(whole, {}, error);
        if (!store || !VXManagedObjectContext(store->persistentStoreCoordinator()).save(error))
            return nullptr;
    } // and is closed
    const bool isMoved = std::rename(QFile::encodeName(whole).constData(), QFile::encodeName(path).constData()) == 0;
    if (isMoved || isThere(path))
        return _loadBundleStoreFile(path, error);
    VXSetError(error, VXMakeFileError(VXLocalizedString(u"Unable to move file"_s), qt_error_string(errno), path));
    return nullptr;
}

// What waits in the install folder replaces the store, which goes to the trash.
bool VXDataPlugin::installWaitingStore(const QString &path, VXError *error)
{
    const QString waiting = VXDataManager::sharedDataInstallPath() + u'/' + QFileInfo(path).fileName();
    if (!isThere(waiting))
        return true;
    const VXFileLock lock(VXDataManager::sharedDataInstallPath() + "/.lock"_L1);
    if (!isThere(waiting)) // another process has just installed it
        return true;
    VXFileManager &files = VXFileManager::defaultManager();
    if (isThere(path)) {
        if (const VXError problem = files.safelyTrashFileAtPath(path)) {
            VXSetError(error, problem);
            return false;
        }
    }
    VXError problem = files.verifyPathExists(VXDataManager::sharedDataFolderPath());
    if (!problem)
        problem = files.moveItemAtPath(waiting, path);
    if (!problem)
        return true;
    VXLogMethod(VXLogError, "_loadBundleStoreController:", u"Could not move file: %1 -> %2"_s.arg(waiting, path));
    VXSetError(error, VXMakeError(VXLocalizedString(u"Unable to move file"_s)));
    return false;
}

// A store of another version is not opened, so that nothing of it is touched.
StorePtr VXDataPlugin::_loadBundleStoreFile(const QString &path, VXError *error)
{
    const StorePtr store = coreDataStoreClass().storeWithPath(path);
    return store && hasOwnVersion(path, store->dataFileName(), error) ? store : nullptr;
}

bool VXDataPlugin::hasOwnVersion(const QString &path, const QString &dataFileName, VXError *error) const
{
    const QString version = dataStoreVersion();
    if (version.isNull())
        return true;
    const QString extension = QFileInfo(dataFileName).suffix();
    const VXStoreType type = extension == "xml"_L1 ? VXStoreType::XML : VXStoreType::SQLite;
    QVariantMap metadata; // of the first file that has an owner
    for (const QString &name : coreDataStoreClass().dataFilesForStorePath(path)) {
        if (QFileInfo(name).suffix() != extension || metadata.contains(VXStoreOwnerIdentifierKey))
            continue;
        VXError problem;
        metadata = VXPersistentStoreCoordinator::metadataForPersistentStore(type, path + u'/' + name, &problem);
        if (problem) {
            VXSetError(error, problem);
            return false;
        }
    }
    const auto refuse = [&](const QString &text) {
        VXSetError(error, storeError(text, path));
        return false;
    };
    const QString stored = metadata.value(VXStoreVersionKey).toString();
    if (!metadata.contains(VXStoreOwnerIdentifierKey) || stored.isNull())
        return refuse(u"Data file does not belong to this plugin"_s);
    const int order = vx_compareVersion(stored, version);
    if (order > 0)
        return refuse(u"Data file is newer than this plugin supports"_s);
    return order == 0 || refuse(u"Data file was written by an older version of this plugin"_s);
}
