#pragma once

#include "VXManagedObjectContext.h"

/**
 * Makes the root folders that a store lacks, and makes one of those that are there twice, with what lies in them. Saved, under
 * the lock at that path: of several processes that open a new store one makes them. False, with an error, when it cannot be done.
 */
[[nodiscard]] bool VXProvideRootFolders(VXManagedObjectContext &context, const QString &lockPath, VXError *error);
