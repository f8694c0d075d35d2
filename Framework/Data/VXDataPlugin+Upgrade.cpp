#include "VXDataPlugin.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXPluginMarker.h"
#include "VXStoreLock.h"
#include "VXStorePast.h"
#include "VXStoreUpgradeWindowController.h"
#include "VXVersion.h"

#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

using StorePtr = VXCoreDataStore::Ptr;

namespace {

constexpr std::chrono::seconds longestWait(10); // for who replaces the store
constexpr std::chrono::seconds waitForUsers(1);

bool exists(const QString &path)
{
    return VXFileManager::itemExistsAtPath(path);
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
    if (problem)
        restoreUpgradingFile();
    else
        removeUpgradingFile();
    VXSetError(error, problem);
    return problem ? nullptr : store;
}

StorePtr VXDataPlugin::openOrUpgrade(const QString &path, VXError *error)
{
    StorePtr store = coreDataStoreClass().storeWithPath(path);
    if (!store || dataStoreVersion().isNull())
        return store;
    const std::optional<Age> age = ageOfStore(path, error);
    if (!age)
        return nullptr;
    switch (*age) {
    case Age::Same:
        return store;
    case Age::Newer:
        VXSetError(error, VXMakeError(VXLocalizedString(u"Data file is newer than this plugin supports"_s), "%s",
                                      qUtf8Printable(path)));
        return nullptr;
    case Age::Older:
        break;
    }
    store = nullptr;
    if (const VXError problem = upgradeStore(path)) {
        VXSetError(error, problem);
        return nullptr;
    }
    return coreDataStoreClass().storeWithPath(path);
}

// By its metadata alone: a store of another version is not opened, so that nothing of it is touched.
std::optional<VXDataPlugin::Age> VXDataPlugin::ageOfStore(const QString &path, VXError *error) const
{
    const QStringList names = coreDataStoreClass().dataFilesForStorePath(path);
    const VXStoreType type = VXCoreDataStoreClass::typeOfDataFile(names.value(names.size() - 1));
    QVariantMap metadata; // of the first file that has an owner
    for (const QString &name : VXCoreDataStoreClass::dataFilesLike(names.value(names.size() - 1), path)) {
        if (metadata.contains(VXStoreOwnerIdentifierKey))
            break;
        VXError problem;
        metadata = VXPersistentStoreCoordinator::metadataForPersistentStore(type, path + u'/' + name, &problem);
        if (problem) {
            VXSetError(error, problem);
            return std::nullopt;
        }
    }
    if (!metadata.contains(VXStoreOwnerIdentifierKey)) {
        VXSetError(error, VXMakeError(VXLocalizedString(u"Data file does not belong to this plugin"_s), "%s",
                                      qUtf8Printable(path)));
        return std::nullopt;
    }
    const QString stored = metadata.value(VXStoreVersionKey).toString(); // none: older than any
    int order = stored.isNull() ? -1 : vx_compareVersion(stored, dataStoreVersion());
    if (order == 0) {
        const QString ownFilters = smartFilterVersion();
        const QString filters = metadata.value(VXStoreSmartFilterVersionKey, u"1"_s).toString();
        order = ownFilters.isNull() ? 0 : vx_compareVersion(filters, ownFilters);
    }
    return order == 0 ? Age::Same : order < 0 ? Age::Older : Age::Newer;
}

// -- Upgrading

// Alone with the store, so that nobody writes into what is set aside or goes to the trash.
VXError VXDataPlugin::upgradeStore(const QString &path)
{
    VXError error;
    _openingLock = nullptr;
    {
        const VXStoreLock::Ptr lock = VXStoreLock::take(path, VXStoreLock::Purpose::Replace, waitForUsers, &error);
        if (!lock)
            return error;
        const std::optional<Age> age = ageOfStore(path, &error); // another process may have done it meanwhile
        if (!age)
            return error;
        if (*age == Age::Older) {
            const VXPluginMarker::Scope nobody; // whoever ends the program now has not crashed in the plugin
            const auto controller = VXStoreUpgradeWindowController::upgradeStoreForPlugin(*this);
            error = run(*controller);
        }
    }
    if (!error && takeOpeningLock(path, &error) && ageOfStore(path, &error) != Age::Same && !error)
        error = VXMakeError(VXLocalizedString(u"Unable to read data file"_s)); // somebody has replaced it since
    return error;
}

VXError VXDataPlugin::run(VXCoreDataStoreMigrationWindowController &controller)
{
    VXError error = controller.runModal();
    _lastMigration = controller.migration().entities();
    return error;
}

std::optional<bool> VXDataPlugin::isUpgradeDue(VXError *error) const
{
    const QString path = dataStorePath();
    if (dataStoreVersion().isNull() || !exists(path))
        return false;
    const std::optional<Age> age = ageOfStore(path, error);
    return age ? std::optional(*age == Age::Older) : std::nullopt;
}

VXError VXDataPlugin::rehearse(const StorePtr &source, QList<VXEntityMigration> *entities)
{
    VXError error;
    const StorePtr destination = _loadMemoryStoreController(&error);
    if (!destination)
        return error;
    source->openReadOnly();
    const auto controller = VXCoreDataStoreMigrationWindowController::rehearse(source, destination, *this);
    error = controller->runModal();
    *entities = controller->migration().entities();
    return error;
}

// By way of the install folder: whoever ends the program meanwhile, one of both stores is found, and the next start goes on.
VXError VXDataPlugin::takeBack(const QString &from, bool *isWaiting)
{
    VXAssert(_sharedStoreController == nullptr, u"Can not take a store back while the plugin has it open"_s);
    VXError error;
    const std::optional<Age> age = ageOfStore(from, &error);
    const StorePtr store = age ? createStoreFromFileAtPath(from, &error) : nullptr;
    if (!store)
        return error;
    if (*age == Age::Newer)
        return VXMakeError(VXLocalizedString(u"Data file is newer than this plugin supports"_s), "%s",
                           qUtf8Printable(from));
    error = stageStore(*store);
    if (!error)
        installWaitingStore(dataStorePath(), &error);
    *isWaiting =
        !error && exists(VXDataManager::sharedDataInstallPath() + u'/' + QFileInfo(dataStorePath()).fileName());
    return error;
}

// The stamp is on the disk before the first object is.
bool VXDataPlugin::saveStamp(VXCoreDataStore &store, VXError *error)
{
    const VXPersistentStoreCoordinator::Ptr coordinator = store.persistentStoreCoordinator(error);
    return coordinator && VXManagedObjectContext(coordinator).save(error);
}

// -- Settling

// The program ended in the midst of an upgrade: nothing but the old store is there, and a new one would hide it.
bool VXDataPlugin::bringBackLoneUpgradingFile(const QString &path, VXError *error)
{
    const auto isLone = [&] { return exists(upgradingPath()) && !exists(path); };
    if (!isLone())
        return true;
    const VXStoreLock::Ptr lock = VXStoreLock::take(path, VXStoreLock::Purpose::Replace, longestWait, error);
    if (!lock)
        return false;
    if (!isLone() || restoreUpgradingFile())
        return true;
    VXSetError(error, VXFileManager::lastError());
    return false;
}

bool VXDataPlugin::restoreUpgradingFile()
{
    constexpr const char *operation = "restoreUpgradingFile";
    const QString upgrading = upgradingPath();
    const QString path = dataStorePath();
    if (!exists(upgrading))
        return true;
    _openingLock = nullptr;
    VXFileManager &files = VXFileManager::defaultManager();
    if (exists(path)) {
        VXError problem;
        const VXStoreLock::Ptr lock = VXStoreLock::take(path, VXStoreLock::Purpose::Replace, {}, &problem);
        if (!lock) { // what others have open stays where it is
            VXLogMethod(VXLogError, operation, "trash: "_L1 + problem.description());
            return false;
        }
        VXLogMethod(VXLogWarning, operation, "Removing failed upgrade: "_L1 + path);
        problem = files.safelyTrashFileAtPath(path);
        if (problem) {
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

void VXDataPlugin::removeUpgradingFile()
{
    const QString upgrading = upgradingPath();
    if (!exists(upgrading))
        return;
    if (_upgradeBackup) {
        if (_upgradeBackup->isNull())
            trashUpgradingFile(upgrading);
        else
            moveUpgradingFile(upgrading, *_upgradeBackup);
        return;
    }
    const VXPluginMarker::Scope nobody;
    VXAlert alert;
    alert.message = VXLocalizedString(u"Successfully upgraded %1."_s).arg(dataStoreName());
    alert.informativeText = VXLocalizedString(
        u"Keep a backup of this file if you think you might want to revert to an older version of Vornix."_s);
    alert.defaultButton = VXGlobalString(u"OK"_s);
    alert.checkBoxTitle = VXLocalizedString(u"Save old data file as backup."_s);
    const VXAlertResult answer = VXApplication::sharedApplication().userInterface().runAlert(alert);
    if (!exists(upgrading)) // another process was told meanwhile
        return;
    if (answer.isChecked)
        saveUpgradingFileAsBackup(upgrading);
    else
        trashUpgradingFile(upgrading);
}

void VXDataPlugin::trashUpgradingFile(const QString &upgrading)
{
    QString trashed;
    const VXError problem = VXFileManager::defaultManager().safelyTrashFileAtPath(upgrading, &trashed);
    if (!problem) {
        VXStorePast::note(dataStorePath(), trashed, u"upgraded"_s);
        return;
    }
    VXLogMethod(VXLogError, "removeUpgradingFile", "trash: "_L1 + problem.description());
    VXApplication::sharedApplication().presentError(problem);
}

// Cancelled, it stays, and the question comes back at the next open.
void VXDataPlugin::saveUpgradingFileAsBackup(const QString &upgrading)
{
    VXSavePanel panel;
    panel.proposedName = QFileInfo(dataStorePath()).fileName();
    const VXPanelResult chosen = VXApplication::sharedApplication().userInterface().runSavePanel(panel);
    if (chosen.isOk() && exists(upgrading))
        moveUpgradingFile(upgrading, chosen.path);
}

void VXDataPlugin::moveUpgradingFile(const QString &upgrading, const QString &place)
{
    constexpr const char *operation = "removeUpgradingFile";
    VXApplication &application = VXApplication::sharedApplication();
    if (const VXError problem = problemWithPlace(place)) {
        application.presentError(problem);
        return;
    }
    VXFileManager &files = VXFileManager::defaultManager();
    if (exists(place)) {
        if (const VXError problem = files.safelyTrashFileAtPath(place)) {
            VXLogMethod(VXLogError, operation, "replace: "_L1 + problem.description());
            application.presentError(problem);
            return;
        }
    }
    if (!files.moveItemAtPath(upgrading, place)) {
        VXStorePast::note(dataStorePath(), place, u"upgraded"_s);
        return;
    }
    VXLogMethod(VXLogError, operation, u"Could not move file: %1 -> %2"_s.arg(upgrading, place));
    application.presentError(VXMakeError(VXLocalizedString(u"Unable to move file"_s)));
}
