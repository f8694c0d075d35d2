#pragma once

#include "VXPlatformExport.h"

#include <functional>

/**
 * Runs work on the process's main thread. Calls from other threads wait in a queue that the main thread's event
 * loop (any nested one included) empties in order. Any thread may call.
 */
class VX_PLATFORM_EXPORT VXMainThread
{
public:
    /** True on the thread that started the process. */
    static bool isCurrent();

    /**
     * Runs `work` on the main thread without waiting; on the main thread itself it runs at once. An exception
     * that leaves queued work is reported as a diagnostic. Work still queued when the application object goes
     * away runs then, after the event loop.
     * @return false when the main thread takes no more calls (the application object is gone, or none was made
     *         yet): the work will never run, and whoever waits for it must be told by the caller.
     */
    static bool perform(std::function<void()> work);

    /**
     * Runs `work` on the main thread and returns when it is done; an exception leaving it is thrown here again.
     * @return false when the main thread takes no more calls (the application object is gone); nothing was run.
     */
    [[nodiscard]] static bool performAndWait(const std::function<void()> &work);

    /**
     * Runs `work` on the main thread when the application object goes, after all calls: none is accepted any more by then.
     * What was given later runs first. @return false, and nothing will be run, when that time has come or there is no
     * application object yet.
     */
    [[nodiscard]] static bool performAtEnd(std::function<void()> work);

    /** True once the application object is gone: no call is accepted any more. */
    [[nodiscard]] static bool hasEnded();

    VXMainThread() = delete;
};
