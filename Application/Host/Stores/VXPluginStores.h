#pragma once

#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// The stores of the enabled data plugins. Only while plugins are loaded (VXRunWithPlugins), because they have opened
// them.

/** In alphabetical order. */
[[nodiscard]] QStringList VXStoreNames();

/**
 * The store that a data plugin declares under the name. @return null with a problem if none does, or if it cannot be
 * used.
 */
[[nodiscard]] VXPersistentStoreCoordinator::Ptr VXStoreForName(const QString &name, QString *problem);

/** Why a store that a data plugin declares cannot be used, if that is known. */
[[nodiscard]] QString VXStoreOutOfUse(const QString &name);
