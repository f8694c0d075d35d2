#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

/** What is wrong with a plugin bundle, for its author. An error prevents it from being used. */
struct VXPluginFinding
{
    bool isError;
    QString text;
};

/**
 * Checks a bundle, and those inside it, as they are on the disk: Info.plist, code, class, model, strings tables. Loads
 * the code but makes no instance. For a process that does nothing else with plugins.
 */
[[nodiscard]] QList<VXPluginFinding> VXCheckPlugin(const QString &path);

/** The identifier of the existing plugin, other than one, that has the store of that name; null if there is none. */
[[nodiscard]] QString VXPluginWithStore(const QString &storeName, const QString &exceptIdentifier);

/**
 * Why the bundle's code cannot be used; null if it can. Another process finds that out, with that home folder unless it
 * is null, because code that this process loaded from the old place would be mistaken for what is in the new one, and
 * because code that crashes then ends only that process.
 */
[[nodiscard]] QString VXProblemOfPluginCode(const QString &path, const QString &home);
