#pragma once

#include "VXListQuery.h"

/** The contacts of a group (all, with a null ID) that have a word for each one typed: by name, newest values. `coordinator`: the store's. */
[[nodiscard]] VXListQuery VXContactsQuery(const VXPersistentStoreCoordinator::Ptr &coordinator,
                                          const VXManagedObjectID &group, const QString &typed);
