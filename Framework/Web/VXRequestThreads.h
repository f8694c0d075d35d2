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
    /** Who holds it, or a copy, has the thread: it does nothing else until the last is gone. */
    using Lease = std::shared_ptr<void>;

    static VXRequestThreads &shared();

    /** Runs the work, which throws nothing. @return null, or why there is no thread for it. */
    [[nodiscard]] QString run(std::function<void(Lease)> work);

    /** Lets threads end once their work has returned, and waits for that, but not longer. */
    void close(std::chrono::milliseconds longest);

private:
    struct Thread // under the lock
    {
        VXCondition wake;
        std::function<void(Lease)> work;
        bool shallEnd = false;
        bool hasEnded = false;
    };
    using ThreadPtr = std::shared_ptr<Thread>;

    VXRequestThreads() = default;
    ThreadPtr takeIdle(std::function<void(Lease)> &work);
    void serve(const ThreadPtr &thread, std::function<void(Lease)> work);
    std::function<void(Lease)> waitForWork(const ThreadPtr &thread);
    void becomeFree(const ThreadPtr &thread);

    VXMutex _lock;
    VXCondition _threadEnded;
    std::vector<ThreadPtr> _idle VX_GUARDED_BY(_lock); // the last became free last
    int _threads VX_GUARDED_BY(_lock) = 0;
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
