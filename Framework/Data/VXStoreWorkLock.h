#pragma once

#include "VXError.h"
#include "VXFileLock.h"
#include "VXFrameworkExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <chrono>
#include <memory>

/**
 * A lock between processes for work that looks into a store and then changes it by what was found: without it, an
 * import or a sync would miss what another is about to save. To be held for a scope. The order is fixed: whoever needs
 * both locks takes that of the work first, and then that of saving for each step, so that a user's change waits for a
 * step and not for the whole work. Those who wait come before the next step of the holder.
 */
class VX_EXPORT VXStoreWorkLock
{
public:
    /** For work with many objects (syncs, imports, merges), from beginning to end. */
    static const QString syncName; // "sync.lock", in the folder of the store
    /** For each look-up and save, be it a user's change or a step of such work. Must not be taken twice on one thread.
     *  */
    static const QString savingName; // "saving.lock"

    /** Waits for the lock, at most for the given time. A store that has no file, or is gone, needs no lock. */
    VXStoreWorkLock(const VXPersistentStoreCoordinator &coordinator, const QString &name,
                    std::chrono::milliseconds longestWait = std::chrono::seconds(30));

    /** False, with an error, when another holder kept it longer than that, or it cannot be had. */
    [[nodiscard]] bool isHeld(VXError *error = nullptr) const;

private:
    std::unique_ptr<VXFileLock> _lock; // null: there is nothing to lock
};
