#include "VXDataPlugin.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"
#include "VXPluginMarker.h"
#include "VXPluginProxy.h"
#include "VXStoreLock.h"
#include "VXStoreModels.h"
#include "VXStorePast.h"
#include "VXStoreUpgradeWindowController.h"
#include "VXVersion.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

using StorePtr = VXCoreDataStore::Ptr;

namespace {

constexpr std::chrono::seconds longestWait(10); // for a process that is replacing the store
constexpr std::chrono::seconds waitForUsers(1);

bool exists(const QString &path)
{
    return VXFileManager::itemExistsAtPath(path);
}

bool beginsWithNumber(const QString &version)
{
    return !version.isEmpty() && version[0] >= u'0' && version[0] <= u'9';
}

VXError newerError(const QString &path)
{
    return VXMakeError(VXLocalizedString(u"Data file is newer than this plugin supports"_s), "%s",
                       qUtf8Printable(path));
}

} // namespace

QString VXDataPlugin::upgradingPath() const
{
    return dataStorePath() + ".upgrading"_L1;
}

bool VXDataPlugin::takeOpeningLock(const QString &path, VXError *error)
{
    _openingLock = VXStoreLock::take(path, VXStoreLock::Purpose::Use, longestWait, error);
    return _openingLock != nullptr;
}

// -- Opening a store that is there

StorePtr VXDataPlugin::_loadBundleStoreFile(const QString &path, VXError *error)
{
    VXError problem;
    StorePtr store = openOrUpgrade(path, &problem);
    if (!store && !problem)
        problem = VXMakeError(VXLocalizedString(u"Unable to read data file"_s));
    if (!problem)
        removeUpgradingFile();
    // otherwise the store is unchanged, and what is set aside is from an earlier upgrade
    else if (!_hasUpgradeFailed || _hasUpgradeBegun)
        restoreUpgradingFile();
    VXSetError(error, problem);
    return problem ? nullptr : store;
}

StorePtr VXDataPlugin::openOrUpgrade(const QString &path, VXError *error)
{
    StorePtr store = coreDataStoreClass().storeWithPath(path);
    if (!store)
        return nullptr;
    VXError unread;
    const std::optional<QVariantMap> metadata = metadataOfStore(path, &unread);
    if (const VXError problem = problemOfOwner(metadata.value_or(QVariantMap()), store->dataFileName())) {
        VXSetError(error, problem);
        return nullptr;
    }
    if (dataStoreVersion().isNull()) // one that cannot be read fails later
        return store;
    if (!metadata) {
        VXSetError(error, unread);
        return nullptr;
    }
    switch (ageOf(*metadata)) {
    case Age::Same:
        VXRenewStoreModels(dataModelPaths(), path);
        VXStorePast::noteUse(path);
        return store;
    case Age::Newer:
        VXSetError(error, newerError(path));
        return nullptr;
    case Age::Older:
        break;
    }
    store = nullptr;
    if (const VXError problem = upgradeStore(path)) {
        _hasUpgradeFailed = true;
        VXSetError(error, problem);
        return nullptr;
    }
    return coreDataStoreClass().storeWithPath(path);
}

// Reads the metadata without opening the store, so that a store of another version is not touched.
std::optional<QVariantMap> VXDataPlugin::metadataOfStore(const QString &path, VXError *error) const
{
    const QStringList names = coreDataStoreClass().dataFilesForStorePath(path);
    if (names.isEmpty()) {
        VXSetError(error, VXMakeError(VXLocalizedString(u"Missing data store"_s), "%s", qUtf8Printable(path)));
        return std::nullopt;
    }
    const VXStoreType type = VXCoreDataStoreClass::typeOfDataFile(names.constLast());
    for (const QString &name : VXCoreDataStoreClass::dataFilesLike(names.constLast(), path)) {
        VXError problem;
        const QVariantMap metadata =
            VXPersistentStoreCoordinator::metadataForPersistentStore(type, path + u'/' + name, &problem);
        if (problem) {
            VXSetError(error, problem);
            return std::nullopt;
        }
        if (metadata.contains(VXStoreOwnerIdentifierKey))
            return metadata;
    }
    return QVariantMap();
}

// Plugins may change their identifiers and keep their stores. But of two existing plugins only one can own a store, the
// one its data file is named after.
VXError VXDataPlugin::problemOfOwner(const QVariantMap &metadata, const QString &dataFileName) const
{
    const QString owner = metadata.value(VXStoreOwnerIdentifierKey).toString();
    const VXPluginProxy *const other =
        owner == identifier() ? nullptr : VXPluginManager::sharedPluginManager().pluginWithIdentifier(owner);
    if (other == nullptr || !other->isInstalled() ||
        other->infoText(u"VXDataStoreName"_s) != QFileInfo(dataFileName).completeBaseName())
        return {};
    const QString reason = VXLocalizedString(u"It is that of %1, whose store is called \"%2\"."_s)
                               .arg(owner, other->infoText(u"VXDataStoreName"_s));
    return VXMakeError(VXLocalizedString(u"Data file does not belong to this plugin"_s), "%s", qUtf8Printable(reason));
}

std::optional<VXDataPlugin::Age> VXDataPlugin::ageOfStore(const QString &path, VXError *error) const
{
    const std::optional<QVariantMap> metadata = metadataOfStore(path, error);
    return metadata ? std::optional(ageOf(*metadata)) : std::nullopt;
}

VXDataPlugin::Age VXDataPlugin::ageOf(const QVariantMap &metadata) const
{
    if (dataStoreVersion().isNull())
        return Age::Same;
    if (metadata.isEmpty())
        VXLogMethod(VXLogWarning, "metadata", u"missing store identifier"_s);
    const QString stored = metadata.value(VXStoreVersionKey).toString(); // without a version it is older than any
    int order = stored.isNull() ? -1 : vx_compareVersion(stored, dataStoreVersion());
    if (order > 0 && !beginsWithNumber(stored) && beginsWithNumber(dataStoreVersion()))
        order = -1; // the order is unknown; later versions will begin with a number as those before
    if (order == 0) {
        const QString ownFilters = smartFilterVersion();
        const QString filters = metadata.value(VXStoreSmartFilterVersionKey, u"1"_s).toString();
        order = ownFilters.isNull() ? 0 : vx_compareVersion(filters, ownFilters);
    }
    return order == 0 ? Age::Same : order < 0 ? Age::Older : Age::Newer;
}

// -- Upgrading

// Locks the store exclusively, so that nobody writes into what is set aside or goes to the trash.
VXError VXDataPlugin::upgradeStore(const QString &path)
{
    VXError error;
    _openingLock = nullptr;
    _hasUpgradeBegun = false;
    {
        const VXStoreLock::Ptr lock = VXStoreLock::take(path, VXStoreLock::Purpose::Replace, waitForUsers, &error);
        if (!lock)
            return error;
        const std::optional<Age> age = ageOfStore(path, &error); // another process may have upgraded it meanwhile
        if (!age)
            return error;
        if (*age == Age::Older) {
            const VXPluginMarker::Scope nobody; // if the program ends now, that is no crash in the plugin
            auto controller = VXStoreUpgradeWindowController::upgradeStoreForPlugin(*this);
            error = run(*controller);
            _hasUpgradeBegun = controller->hasSetAside();
            controller = nullptr; // closes the stores
            if (error && _hasUpgradeBegun)
                putUpgradingFileBack();
        }
    }
    if (!error && takeOpeningLock(path, &error) && ageOfStore(path, &error) != Age::Same && !error)
        error = VXMakeError(VXLocalizedString(u"Unable to read data file"_s)); // somebody has replaced it meanwhile
    return error;
}

VXError VXDataPlugin::run(VXCoreDataStoreMigrationWindowController &controller)
{
    VXError error = controller.runModal();
    _lastMigration = controller.migration().entities();
    _hasSavedNothing = !error && controller.migration().savesNothing();
    return error;
}

// A waiting store replaces the present one; an old store alone was left by an interrupted upgrade.
QString VXDataPlugin::storeToOpen() const
{
    const QStringList places{waitingPath(), dataStorePath(), upgradingPath()};
    const auto found = std::ranges::find_if(places, exists);
    return found == places.end() ? QString() : *found;
}

QString VXDataPlugin::changedEntityOfStoreToOpen() const
{
    const StorePtr store = dataStoreVersion().isNull() ? nullptr : coreDataStoreClass().storeWithPath(storeToOpen());
    const VXManagedObjectModel::Ptr model = store ? store->managedObjectModel() : nullptr;
    return model ? changedEntity(*model) : QString();
}

std::optional<bool> VXDataPlugin::isUpgradeDue(VXError *error) const
{
    const QString path = storeToOpen();
    if (dataStoreVersion().isNull() || path.isNull())
        return false;
    const std::optional<Age> age = ageOfStore(path, error);
    if (age == Age::Newer)
        VXSetError(error, newerError(path));
    return age && age != Age::Newer ? std::optional(*age == Age::Older) : std::nullopt;
}

VXError VXDataPlugin::rehearse(const StorePtr &source, bool isMerge)
{
    VXError error;
    const StorePtr destination = _loadMemoryStoreController(&error);
    if (!destination)
        return error;
    source->openReadOnly();
    return run(*VXCoreDataStoreMigrationWindowController::rehearse(source, destination, *this, isMerge));
}

bool VXDataPlugin::isStoreItself(const QString &path, VXError *error) const
{
    const QString place = QFileInfo(path).canonicalFilePath();
    const bool isItself = !place.isEmpty() && place == QFileInfo(dataStorePath()).canonicalFilePath();
    if (isItself)
        VXSetError(error, VXMakeError(VXLocalizedString(u"It is the store itself"_s), "%s", qUtf8Printable(path)));
    return isItself;
}

StorePtr VXDataPlugin::earlierStoreAt(const QString &path, VXError *error)
{
    return isStoreItself(path, error) ? nullptr : ownStoreAt(path, error);
}

// Goes by way of the install folder: if the program ends meanwhile, one of both stores is still found, and the next
// start continues.
VXError VXDataPlugin::takeBack(const QString &from, bool *isWaiting)
{
    VXAssert(_sharedStoreController == nullptr, u"Cannot take a store back while the plugin has it open"_s);
    VXError error;
    *isWaiting = false;
    const bool isOld = QDir::cleanPath(from) == upgradingPath();
    if (!bringBackLoneUpgradingFile(dataStorePath(), &error) || (isOld && !exists(from)))
        return error;
    const StorePtr store = earlierStoreAt(from, &error);
    if (!store)
        return error;
    error = stageStore(*store);
    if (error)
        return error;
    VXStorePast::noteTakenBack(dataStorePath(), from, waitingPath());
    installWaitingStore(dataStorePath(), true, &error);
    *isWaiting = !error && exists(waitingPath());
    if (error || *isWaiting)
        VXStorePast::noteTakenBack(dataStorePath(), from, {});
    // After a failure nothing stays staged, unless the store is gone already and the next start has to replace it.
    if (error && exists(dataStorePath()) && !QDir(waitingPath()).removeRecursively())
        VXLogMethod(VXLogError, "takeBack", "still waits: "_L1 + waitingPath());
    if (isOld && !error && !*isWaiting)
        removeTakenBack();
    return error;
}

// The old store is now in use as a copy, and would be taken for the old store of another upgrade.
void VXDataPlugin::removeTakenBack() const
{
    VXFileManager &files = VXFileManager::defaultManager();
    const QString upgrading = upgradingPath();
    if (!files.safelyTrashFileAtPath(upgrading) || !exists(upgrading))
        return;
    if (files.moveItemAtPath(upgrading, VXStorePast::freePlaceBeside(dataStorePath(), u"upgraded"_s)))
        VXLogMethod(VXLogError, "takeBack", "still lies there: "_L1 + upgrading);
}

QList<VXStorePast::Entry> VXDataPlugin::earlierStores() const
{
    return VXStorePast::entries(dataStorePath(), upgradingPath());
}

VXError VXDataPlugin::withdrawWaitingStore(QString *trashed) const
{
    VXFileManager &files = VXFileManager::defaultManager();
    const QString waiting = waitingPath();
    const VXError problem = files.safelyTrashFileAtPath(waiting, trashed);
    if (!problem || !exists(waiting))
        return problem;
    const QString place = VXStorePast::freePlaceBeside(waiting, u"withdrawn"_s);
    if (trashed != nullptr)
        *trashed = place;
    return files.moveItemAtPath(waiting, place) ? problem : VXError();
}

// The stamp is on disk before the first object.
bool VXDataPlugin::saveStamp(VXCoreDataStore &store, VXError *error)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = store.persistentStoreCoordinator(error);
    return coordinator && VXManagedObjectContext(coordinator).save(error);
}

// -- Settling

// The program ended during an upgrade and only the old store exists; creating a new one would hide it.
bool VXDataPlugin::bringBackLoneUpgradingFile(const QString &path, VXError *error)
{
    if (!isUpgradingFileLone())
        return true;
    const VXStoreLock::Ptr lock = VXStoreLock::take(path, VXStoreLock::Purpose::Replace, longestWait, error);
    if (!lock)
        return false;
    if (!isUpgradingFileLone() || putUpgradingFileBack())
        return true;
    VXSetError(error, VXFileManager::lastError());
    return false;
}

bool VXDataPlugin::isUpgradingFileLone() const
{
    return exists(upgradingPath()) && !exists(dataStorePath());
}

bool VXDataPlugin::restoreUpgradingFile()
{
    if (!exists(upgradingPath()))
        return true;
    _openingLock = nullptr;
    VXError problem; // if others have the store open, or upgrade it, it stays where it is
    const VXStoreLock::Ptr lock = VXStoreLock::take(dataStorePath(), VXStoreLock::Purpose::Replace, {}, &problem);
    if (lock)
        return putUpgradingFileBack();
    VXLogMethod(VXLogError, "restoreUpgradingFile", problem.description());
    return false;
}

// Requires the exclusive lock of the store's place.
bool VXDataPlugin::putUpgradingFileBack()
{
    constexpr const char *operation = "restoreUpgradingFile";
    const QString upgrading = upgradingPath();
    const QString path = dataStorePath();
    if (!exists(upgrading))
        return true;
    VXFileManager &files = VXFileManager::defaultManager();
    if (exists(path)) {
        VXLogMethod(VXLogWarning, operation, "Removing failed upgrade: "_L1 + path);
        if (const VXError problem = VXStorePast::trash(path, path, u"removed"_s)) {
            VXLogMethod(VXLogError, operation, "trash: "_L1 + problem.description());
            return false;
        }
    }
    VXLogMethod(VXLogWarning, operation, "Restoring pre-upgrade file: "_L1 + upgrading);
    if (!files.moveItemAtPath(upgrading, path))
        return true;
    VXLogMethod(VXLogError, operation, u"copy error"_s);
    return false;
}

bool VXDataPlugin::removeUpgradingFile()
{
    const QString upgrading = upgradingPath();
    if (!exists(upgrading))
        return true;
    if (_upgradeBackup)
        return _upgradeBackup->isNull() ? trashUpgradingFile(upgrading) : moveUpgradingFile(upgrading, *_upgradeBackup);
    const VXPluginMarker::Scope nobody;
    VXAlert alert;
    alert.message = VXLocalizedString(u"Successfully upgraded %1."_s).arg(dataStoreName());
    alert.informativeText = VXLocalizedString(
        u"Keep a backup of this file if you think you might want to revert to an older version of Vornix."_s);
    alert.defaultButton = VXGlobalString(u"OK"_s);
    alert.checkBoxTitle = VXLocalizedString(u"Save old data file as backup."_s);
    if (_hasSavedNothing)
        alert.details = VXLocalizedString(u"Nothing was copied: the new data file is empty, as the plugin wants it."_s);
    const VXAlertResult answer = VXApplication::sharedApplication().userInterface().runAlert(alert);
    if (!exists(upgrading)) // another process was told meanwhile
        return true;
    return answer.isChecked ? saveUpgradingFileAsBackup(upgrading) : trashUpgradingFile(upgrading);
}

bool VXDataPlugin::trashUpgradingFile(const QString &upgrading)
{
    const VXError problem = VXStorePast::trash(dataStorePath(), upgrading, u"upgraded"_s, &_oldStore);
    if (!problem || !exists(upgrading)) // another process has done it
        return true;
    VXLogMethod(VXLogError, "removeUpgradingFile", "trash: "_L1 + problem.description());
    VXApplication::sharedApplication().presentError(problem);
    return false;
}

// If the user cancels, the copy stays, and the question is asked again at the next open.
bool VXDataPlugin::saveUpgradingFileAsBackup(const QString &upgrading)
{
    VXSavePanel panel;
    panel.proposedName = QFileInfo(dataStorePath()).fileName();
    const VXPanelResult chosen = VXApplication::sharedApplication().userInterface().runSavePanel(panel);
    return chosen.isOk() && (!exists(upgrading) || moveUpgradingFile(upgrading, chosen.path));
}

bool VXDataPlugin::moveUpgradingFile(const QString &upgrading, const QString &place)
{
    constexpr const char *operation = "removeUpgradingFile";
    VXApplication &application = VXApplication::sharedApplication();
    if (const VXError problem = problemWithPlace(place)) {
        application.presentError(problem);
        return false;
    }
    VXFileManager &files = VXFileManager::defaultManager();
    if (exists(place)) {
        if (const VXError problem = files.safelyTrashFileAtPath(place)) {
            VXLogMethod(VXLogError, operation, "replace: "_L1 + problem.description());
            application.presentError(problem);
            return false;
        }
    }
    if (!VXStorePast::move(dataStorePath(), upgrading, place, u"upgraded"_s)) {
        _oldStore = place;
        return true;
    }
    VXLogMethod(VXLogError, operation, u"Could not move file: %1 -> %2"_s.arg(upgrading, place));
    application.presentError(VXMakeError(VXLocalizedString(u"Unable to move file"_s)));
    return false;
}
