#pragma once

#include "VXManagedObjectContext.h"

/** Makes the root folders that a store lacks, and makes one of folders that are there twice, with what lies in them
 *  (VXUniteFolders). Not saved. False, with an error, when they cannot be looked for. */
[[nodiscard]] bool VXProvideRootFolders(VXManagedObjectContext &context, VXError *error);

/** As VXProvideRootFolders, and saved, under the lock at that path: of several processes that open a new store one makes them;
 *  and under that of saving, so that none files into what goes. False, with an error, when it cannot be done. */
[[nodiscard]] bool VXSaveRootFolders(VXManagedObjectContext &context, const QString &lockPath, VXError *error);
