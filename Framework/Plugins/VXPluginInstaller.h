#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXPluginManager.h"
#include "VXPluginPlacer.h"

#include <QtCore/QString>

/**
 * Installs plugin bundles into the shared plugin folder, by way of the staging folder: a bundle is complete there
 * before it replaces another, so an interrupted install is finished at the next start. Refuses bundles that could not
 * be used. Main thread only.
 */
class VX_EXPORT VXPluginInstaller
{
public:
    /** What is wrong with the symbolic links in a bundle; null for nothing. */
    static QString problemOfLinks(const QString &bundlePath);
    enum class Others { Installed, Loaded };
    /** Why a bundle with that Info.plist cannot be used beside others, one of which has the same store. Null when it
     *  can. */
    static QString problemOfStore(const VXPluginManager &manager, const QVariantMap &info, Others others);

    /** The manager knows the folders, and which copies may be running. */
    explicit VXPluginInstaller(const VXPluginManager &manager)
        : _manager(manager), _placer(manager.pathToInstallStagingFolder())
    {
    }

    /** @param pluginPath the installed bundle's path; set when the result is Installed. */
    VXPluginInstallResult install(const QString &path, QString *pluginPath, VXError *error);

    /** Installs the bundles in the staging folder; those that fail are logged and stay there. */
    void installStaged();

private:
    QString problemOfBundle(const QString &path, const QVariantMap &info) const;
    QString problemOfIdentifiers(const QString &path, const QString &rootIdentifier) const;
    bool mustWaitForNextStart(const QString &path, const QString &identifier) const;
    void trashOtherCopies(const QString &target, const QString &identifier);

    const VXPluginManager &_manager;
    const VXPluginPlacer _placer;
};
