#pragma once

#include "VXError.h"
#include "VXFileLock.h"
#include "VXFrameworkExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <chrono>
#include <memory>

/**
 * Held by one at a time, of whatever process, who looks into a store and then changes it by what was found: an import or a sync
 * that did not wait for another would find missing what the other is about to save. For the length of a scope. There is one
 * order: who needs both takes that of the work first, and that of saving for each step, so that a change of the user's waits
 * for a step and not for the whole; who waits comes before the next step of who has it.
 */
class VX_EXPORT VXStoreWorkLock
{
public:
    /** Of work with many objects, from its begin to its end, as syncs, imports and merges. */
    static const QString syncName; // "sync.lock", in the folder of the store
    /** Of each look and save, a user's change as well as a step of such work. Not twice on one thread. */
    static const QString savingName; // "saving.lock"

    /** Waits, but not for ever. A store that is no file, or gone, has nobody to be locked out. */
    VXStoreWorkLock(const VXPersistentStoreCoordinator &coordinator, const QString &name,
                    std::chrono::milliseconds longestWait = std::chrono::seconds(30));

    /** False, with an error, when another has it for longer, or it cannot be had. */
    [[nodiscard]] bool isHeld(VXError *error = nullptr) const;

private:
    std::unique_ptr<VXFileLock> _lock; // null: there is nothing to be locked
};
