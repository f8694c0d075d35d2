#pragma once

#include "VXFrameworkExport.h"
#include "VXPluginChoice.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * Finds the plugins in a list of folders, later ones before earlier ones where versions are equal, by their Info.plist
 * alone. Holds what it found, so that the choice can be explained.
 */
class VX_EXPORT VXPluginScanner
{
public:
    /** The oldest version a bundle in the shared folder may have; below it, it was written for another system. */
    static constexpr int oldestSharedVersion = 1945;

    VXPluginScanner(const QStringList &folders, const QString &sharedFolder);

    /** Scans the folders. @return the chosen copies' paths, in no particular order. */
    QStringList latestPluginPaths();
    /** By identifier; what the last scan found. */
    const QHash<QString, VXPluginChoice> &choices() const { return _choices; }

    /** The information dictionary of the bundle, read from disk now; empty, logged, when it cannot be. */
    static QVariantMap peekAtBundleInfo(const QString &bundlePath);

    /** The version that the information dictionary names; "0" without one. */
    static QString versionOf(const QVariantMap &info);
    /** True for a version that the shared folder does not take. */
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
