#pragma once

#include "VXCoreDataStoreMigrationWindowController.h"
#include "VXFolderInMaking.h"

#include <memory>

/**
 * Upgrades a plugin's store: sets the old folder aside (VXDataPlugin::upgradingPath) and copies it into a new one,
 * which takes the old one's place when it is whole. After a failure, or if the process was killed, the old folder is
 * still set aside, and VXDataPlugin::restoreUpgradingFile brings it back. The caller must hold the store's place
 * exclusively (VXStoreLock).
 */
class VX_EXPORT VXStoreUpgradeWindowController final : public VXCoreDataStoreMigrationWindowController
{
public:
    static std::unique_ptr<VXStoreUpgradeWindowController> upgradeStoreForPlugin(VXDataPlugin &plugin);

    /** A failure here makes the outcome the cancelled error; the reason is logged. */
    void performMigration() override;
    /** Whether this upgrade has set the old folder aside. Otherwise nothing was begun, and a folder there is of an
     *  earlier upgrade. */
    bool hasSetAside() const { return _hasSetAside; }

protected:
    VXError finish() override;

private:
    using VXCoreDataStoreMigrationWindowController::VXCoreDataStoreMigrationWindowController;

    bool prepare();

    std::unique_ptr<VXFolderInMaking> _making;
    bool _hasSetAside = false;
};
