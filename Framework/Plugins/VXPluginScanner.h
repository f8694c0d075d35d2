#pragma once

#include "VXFrameworkExport.h"
#include "VXPluginChoice.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * Finds the plugins in a list of folders by their Info.plist alone. Of equal versions, those in later folders take
 * precedence. Keeps the results, so that the choice can be explained.
 */
class VX_EXPORT VXPluginScanner
{
public:
    /** The oldest version that is accepted in the shared folder; older bundles were written for another system. */
    static constexpr int oldestSharedVersion = 1945;

    VXPluginScanner(const QStringList &folders, const QString &sharedFolder);

    /** Scans the folders. @return the chosen copies' paths, in no particular order. */
    QStringList latestPluginPaths();
    /** The results of the last scan, by identifier. */
    const QHash<QString, VXPluginChoice> &choices() const { return _choices; }

    /** The bundle's information dictionary, read from disk each time; empty, logged, when it cannot be read. */
    static QVariantMap peekAtBundleInfo(const QString &bundlePath);

    /** The version in the information dictionary; "0" without one. */
    static QString versionOf(const QVariantMap &info);
    /** Whether a version is too old for the shared folder. */
    static bool isOutdated(const QString &version);

    /** The paths of the entries with the extension "vxplugin", sorted; empty when there is no such folder. */
    static QStringList pluginPathsInFolder(const QString &folder);

private:
    void consider(const QString &path, const QString &folder);
    void choose(VXPluginChoice &choice, VXPluginCopy &copy) const;

    const QStringList _folders;
    const QString _sharedFolder;
    QHash<QString, VXPluginChoice> _choices;
};
