#pragma once

#include "VXPlatformExport.h"

#include <chrono>
#include <functional>

/**
 * Threads that nobody waits for while the program is running. When it ends, their ends can be awaited: a thread's own
 * data (loggers, per-thread data of libraries) is destroyed after its work, and that must not happen while static
 * objects of the program are being destroyed.
 */
class VX_PLATFORM_EXPORT VXBackgroundThread
{
public:
    VXBackgroundThread() = delete;

    /** Runs the work, which must not throw, on a thread of its own. Any thread. Throws std::system_error when there is
     *  none. There must be few owners, as they are never freed. */
    static void start(std::function<void()> work, const void *owner = nullptr);

    /**
     * Waits until all threads, or those of an owner, have ended, with everything that belongs to them. To be called
     * once the application object is destroyed, so that none waits for the main thread; or for an owner whose threads
     * never do. @return false when one was still running after that time; those that have ended are cleaned up
     * nevertheless.
     */
    static bool awaitEnds(std::chrono::milliseconds longest, const void *owner = nullptr);
};
