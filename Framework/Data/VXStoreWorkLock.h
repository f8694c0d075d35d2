#pragma once

#include "VXError.h"
#include "VXFileLock.h"
#include "VXFrameworkExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <chrono>
#include <memory>

/**
 * Held by one at a time, of whatever process, who looks into a store and then changes it by what was found: an import or a sync
 * that did not wait for another would find missing what the other is about to save. For the length of a scope.
 */
class VX_EXPORT VXStoreWorkLock
{
public:
    /** Of work with many objects, as syncs and imports. */
    static const QString syncName; // "sync.lock", in the folder of the store
    /** Of a single look and save. Nothing that takes longer is done under it. */
    static const QString savingName; // "saving.lock"

    /** Waits, but not for ever. A store that is no file has nobody to be locked out. */
    VXStoreWorkLock(const VXPersistentStoreCoordinator &coordinator, const QString &name,
                    std::chrono::milliseconds longestWait = std::chrono::seconds(30));

    /** False, with an error, when another has it for longer, or it cannot be had. */
    [[nodiscard]] bool isHeld(VXError *error = nullptr) const;

private:
    std::unique_ptr<VXFileLock> _lock; // null: there is nothing to be locked
};
