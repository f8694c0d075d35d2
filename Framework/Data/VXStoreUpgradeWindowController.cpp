#include "VXStoreUpgradeWindowController.h"

#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXStorePast.h"

using namespace Qt::StringLiterals;

std::unique_ptr<VXStoreUpgradeWindowController>
VXStoreUpgradeWindowController::upgradeStoreForPlugin(VXDataPlugin &plugin)
{
    const QString title = VXLocalizedString(u"Upgrading %1 data file..."_s).arg(plugin.dataStoreName());
    return std::unique_ptr<VXStoreUpgradeWindowController>(new VXStoreUpgradeWindowController(title, plugin));
}

void VXStoreUpgradeWindowController::performMigration()
{
    VXLogMethod(VXLogNotice, "performMigration", u"Upgrading store..."_s);
    if (prepare())
        VXCoreDataStoreMigrationWindowController::performMigration();
    else
        cancel(); // instead of showing the error
}

bool VXStoreUpgradeWindowController::prepare()
{
    constexpr const char *operation = "performMigration";
    VXFileManager &files = VXFileManager::defaultManager();
    const QString path = plugin().dataStorePath();
    const QString upgrading = plugin().upgradingPath();
    if (VXFileManager::itemExistsAtPath(upgrading)) {
        VXLogMethod(VXLogWarning, operation, u"moving old upgrade file to trash"_s);
        setError(VXStorePast::trash(path, upgrading, u"upgraded"_s));
        if (error())
            return false;
    }
    if (const VXError problem = files.moveItemAtPath(path, upgrading)) {
        VXLogMethod(VXLogError, operation, u"move error"_s); // the reason is in the log
        setError(VXMakeError(VXLocalizedString(u"could not move data file"_s), "%s", ""));
        return false;
    }
    _hasSetAside = true;
    const StorePtr source = plugin().coreDataStoreClass().storeWithPath(upgrading);
    _making = std::make_unique<VXFolderInMaking>(path);
    VXError problem = _making->problem();
    const StorePtr destination =
        source && !problem ? plugin().createStoreAtPath(_making->path(), {}, &problem) : nullptr;
    if (destination && plugin().saveStamp(*destination, &problem)) {
        source->openReadOnly();
        setStores(source, destination);
        return true;
    }
    VXLogMethod(VXLogError, operation, problem.description());
    setError(problem);
    return false;
}

// The new store appears at its place only when all of it is there.
VXError VXStoreUpgradeWindowController::finish()
{
    closeStores();
    VXError problem;
    bool isTaken = false;
    if (_making->moveIntoPlace(&isTaken, &problem))
        return {};
    VXLogMethod(VXLogError, "finish", problem.description());
    return problem;
}
