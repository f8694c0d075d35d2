#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

/** What is wrong with a plugin bundle, for its author. An error keeps it from being used. */
struct VXPluginFinding
{
    bool isError;
    QString text;
};

/**
 * Looks at a bundle, and at those inside it, as they lie there: Info.plist, code, class, model, strings tables. Loads the
 * code but makes no instance; that is for a process which does nothing else with plugins.
 */
[[nodiscard]] QList<VXPluginFinding> VXCheckPlugin(const QString &path);

/** The identifier of the plugin that has the store of that name, among those that there are, but for one; null for none. */
[[nodiscard]] QString VXPluginWithStore(const QString &storeName, const QString &exceptIdentifier);

/**
 * Why the bundle's code cannot be used; null when it can. Found out by another process, with that home folder unless it is
 * null: what this one loaded from the old place would be taken for what lies in the new one, and code that crashes takes
 * only that process with it.
 */
[[nodiscard]] QString VXProblemOfPluginCode(const QString &path, const QString &home);
