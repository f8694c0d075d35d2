#pragma once

#include "VXMutex.h"
#include "VXPlatformExport.h"

#include <functional>
#include <list>

/**
 * Threads for work that continues until it is told to stop. When the application object is destroyed and no call to the
 * main thread is accepted any more, those still running are told to stop, and awaited for at most 10 seconds, so that
 * none is left when the process ends. Any thread may call.
 */
class VX_PLATFORM_EXPORT VXWorkerThreads
{
public:
    static VXWorkerThreads &shared();

    /**
     * Runs `work` on a new thread; an exception that leaves it is reported as a diagnostic. `stop` has to make it
     * return soon; it is called at most once, and only while the work runs or just after. @return false, and nothing is
     * run, without an application object, and when the system cannot provide another thread, which is reported.
     */
    bool start(std::function<void()> work, std::function<void()> stop);

private:
    VXWorkerThreads() = default;
    void run(const std::function<void()> &work, std::list<std::function<void()>>::iterator place);
    void close();

    VXMutex _lock;
    VXCondition _ended;
    std::list<std::function<void()>> _running VX_GUARDED_BY(_lock); // the function that stops each
    bool _isWatching VX_GUARDED_BY(_lock) = false;
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
