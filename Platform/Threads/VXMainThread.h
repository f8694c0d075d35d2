#pragma once

#include "VXPlatformExport.h"

#include <functional>

/**
 * Runs work on the process's main thread. Calls from other threads are queued, and run in order by the main thread's
 * event loop (including nested ones). Any thread may call.
 */
class VX_PLATFORM_EXPORT VXMainThread
{
public:
    /** Whether this is the thread that started the process. */
    static bool isCurrent();

    /**
     * Runs `work` on the main thread without waiting; on the main thread itself it runs immediately. An exception that
     * leaves queued work is reported as a diagnostic. Work still queued when the application object is destroyed runs
     * then, after the event loop. @return false when the main thread takes no more calls (the application object is
     * destroyed, or was not made yet): the work will never run, and the caller has to inform whoever waits for it.
     */
    static bool perform(std::function<void()> work);

    /**
     * Runs `work` on the main thread and returns when it is done; exceptions are rethrown here. @return false when the
     * main thread takes no more calls (the application object is destroyed); nothing was run.
     */
    [[nodiscard]] static bool performAndWait(const std::function<void()> &work);

    /**
     * Runs `work` on the main thread when the application object is destroyed, after all calls; no more are accepted by
     * then. Work that was registered later runs first. @return false, and nothing will be run, when that time has come
     * or there is no application object yet.
     */
    [[nodiscard]] static bool performAtEnd(std::function<void()> work);

    /** True once the application object is destroyed: no more calls are accepted. */
    [[nodiscard]] static bool hasEnded();

    VXMainThread() = delete;
};
