#pragma once

#include "VXCoreDataStore.h"

/**
 * Copies a store's folder to a path that is free (VXCoreDataStore::copyTo) on another thread, while a window shows how far it is and
 * lets the user stop it: the error is then the cancelled one. False on failure, which leaves a part there. Main thread.
 */
[[nodiscard]] bool VXCopyStoreInWindow(VXCoreDataStore &store, const QString &path, const QString &title,
                                       VXError *error);
