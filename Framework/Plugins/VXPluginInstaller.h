#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXPluginManager.h"
#include "VXPluginPlacer.h"

#include <QtCore/QString>

/**
 * Brings plugin bundles into the shared plugin folder, by way of the staging folder: a bundle lies there whole before
 * it takes the place of another, so that an install that is cut short is finished at the next start. Refuses what could not
 * be used. Main thread only.
 */
class VX_EXPORT VXPluginInstaller
{
public:
    /** What is wrong with the links in a bundle; null when nothing is. */
    static QString problemOfLinks(const QString &bundlePath);
    enum class Others { Installed, Loaded };
    /** Why a bundle with that Info.plist cannot be used beside others: its store is that of one. Null when it can. */
    static QString problemOfStore(const VXPluginManager &manager, const QVariantMap &info, Others others);

    /** The manager knows the folders, and which copies may be running. */
    explicit VXPluginInstaller(const VXPluginManager &manager)
        : _manager(manager), _placer(manager.pathToInstallStagingFolder())
    {
    }

    /** @param pluginPath where the bundle then lies; set when the result is Installed. */
    VXPluginInstallResult install(const QString &path, QString *pluginPath, VXError *error);

    /** Installs what waits in the staging folder; what fails is logged, and waits on. */
    void installStaged();

private:
    QString problemOfBundle(const QString &path, const QVariantMap &info) const;
    QString problemOfIdentifiers(const QString &path, const QString &rootIdentifier) const;
    bool mustWaitForNextStart(const QString &path, const QString &identifier) const;
    void trashOtherCopies(const QString &target, const QString &identifier);

    const VXPluginManager &_manager;
    const VXPluginPlacer _placer;
};
