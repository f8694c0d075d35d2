#pragma once

#include "VXManagedObjectContext.h"

/**
 * Makes the root folders that a store lacks, and unites folders that exist twice, with their contents (VXUniteFolders).
 * Does not save. False, with an error, if they cannot be looked up.
 */
[[nodiscard]] bool VXProvideRootFolders(VXManagedObjectContext &context, VXError *error);

/**
 * Does the same as VXProvideRootFolders, and saves, under the lock at that path, so that of several processes that open
 * a new store only one makes them; and under the lock for saving, so that nobody files anything into a folder that is
 * about to go. False, with an error, on failure.
 */
[[nodiscard]] bool VXSaveRootFolders(VXManagedObjectContext &context, const QString &lockPath, VXError *error);
