#pragma once

#include "VXListQuery.h"

/**
 * The contacts of a group (all, if the ID is null) that have a word for each typed one: by name, with their newest
 * values. `coordinator`: the store's.
 */
[[nodiscard]] VXListQuery VXContactsQuery(const VXPersistentStoreCoordinator::Ptr &coordinator,
                                          const VXManagedObjectID &group, const QString &typed);
