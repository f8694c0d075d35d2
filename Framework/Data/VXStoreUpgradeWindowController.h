#pragma once

#include "VXCoreDataStoreMigrationWindowController.h"
#include "VXFolderInMaking.h"

#include <memory>

/**
 * Upgrades a plugin's store: the old folder is set aside (VXDataPlugin::upgradingPath) and copied into a new one, which comes to
 * the old one's place when it is whole. After a failure, or in a process that was killed, the old one lies aside, and
 * VXDataPlugin::restoreUpgradingFile brings it back. Who runs it has the store's place alone (VXStoreLock).
 */
class VX_EXPORT VXStoreUpgradeWindowController final : public VXCoreDataStoreMigrationWindowController
{
public:
    static std::unique_ptr<VXStoreUpgradeWindowController> upgradeStoreForPlugin(VXDataPlugin &plugin);

    /** What fails here makes the outcome the cancelled error; why is in the log. */
    void performMigration() override;
    /** Whether the old folder lies aside, or did: else nothing was begun, and what lies there is of an earlier upgrade. */
    bool hasSetAside() const { return _hasSetAside; }

protected:
    VXError finish() override;

private:
    using VXCoreDataStoreMigrationWindowController::VXCoreDataStoreMigrationWindowController;

    bool prepare();

    std::unique_ptr<VXFolderInMaking> _making;
    bool _hasSetAside = false;
};
