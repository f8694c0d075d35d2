#pragma once

#include "VXPlatformExport.h"

#include <chrono>
#include <functional>

/**
 * Threads that nobody waits for while the program runs. Their ends can be awaited when it ends: what a thread keeps for itself
 * (loggers, what libraries have for each thread) is destroyed after its work, and must not meet a program whose static objects
 * are being destroyed.
 */
class VX_PLATFORM_EXPORT VXBackgroundThread
{
public:
    VXBackgroundThread() = delete;

    /** Runs the work, which throws nothing, on a thread of its own. Any thread. Throws std::system_error when there is none.
     *  Of owners, which are never freed, there are few. */
    static void start(std::function<void()> work, const void *owner = nullptr);

    /**
     * Waits until those there are, or those of an owner, have ended, with all that belongs to them. Once the application object
     * is gone, so that none waits for the main thread; for an owner's, where those never do.
     * @return false when one still ran after that time; those that have ended are gone all the same.
     */
    static bool awaitEnds(std::chrono::milliseconds longest, const void *owner = nullptr);
};
