#pragma once

#include "VXManagedObjectID.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QList>

#include <utility>

using VXContactGroups = QList<std::pair<QString, VXManagedObjectID>>;

/** The groups of the phonebook by their names, in the order of these. Any thread. */
[[nodiscard]] VXContactGroups VXReadContactGroups(const VXPersistentStoreCoordinator::Ptr &coordinator);
