#pragma once

#include "VXMutex.h"

#include <QtCore/QString>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

/**
 * Threads that requests run on, one each. One that has become free is kept for a moment: to make another would take longer
 * than many a request. Any thread.
 */
class VXRequestThreads
{
public:
    static VXRequestThreads &shared();

    /** Runs the work, which throws nothing. @return null, or why there is no thread for it. */
    [[nodiscard]] QString run(std::function<void()> work);

    /** Keeps no thread any more, and waits until those there are have ended, but not longer than that. */
    void close(std::chrono::milliseconds longest);

private:
    struct Thread
    {
        VXCondition wake;
        std::function<void()> work; // under the lock
    };

    VXRequestThreads() = default;
    void serve(std::function<void()> work);
    bool waitForWork(const std::shared_ptr<Thread> &thread);

    VXMutex _lock;
    VXCondition _threadEnded;
    std::vector<std::shared_ptr<Thread>> _idle VX_GUARDED_BY(_lock); // the last became free last
    int _threads VX_GUARDED_BY(_lock) = 0;
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
