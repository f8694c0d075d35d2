#pragma once

#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// The stores of the enabled data plugins. Among the plugins (VXRunWithPlugins) only, as these have opened them.

/** In alphabetical order. */
[[nodiscard]] QStringList VXStoreNames();

/** The store that a data plugin declares under the name. @return null with a problem when none does, or it cannot be used. */
[[nodiscard]] VXPersistentStoreCoordinator::Ptr VXStoreForName(const QString &name, QString *problem);

/** Why a store that a data plugin declares cannot be used, as far as that is known. */
[[nodiscard]] QString VXStoreOutOfUse(const QString &name);
