#pragma once

#include "VXMutex.h"

#include <QtCore/QString>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

/**
 * Threads that requests run on, one each, up to 100 at once: more wait for their turn, as they do where the system has no
 * thread to spare. One that has become free is kept for a moment: to make another would take longer than many a request.
 * Any thread.
 */
class VXRequestThreads
{
public:
    /** Who holds it, or a copy, has the thread: it does nothing else until the last is gone. */
    using Lease = std::shared_ptr<void>;

    static VXRequestThreads &shared();

    using Work = std::function<void(Lease)>;

    /** Runs the work, which throws nothing. @return null, or why there is no thread for it and none to wait for. */
    [[nodiscard]] QString run(Work work);

    /** Lets threads end once their work has returned, and waits for that, but not longer. What has no thread yet gets none. */
    void close(std::chrono::milliseconds longest);

private:
    struct Thread // under the lock
    {
        VXCondition wake;
        Work work;
        bool shallEnd = false;
        bool hasEnded = false;
    };
    using ThreadPtr = std::shared_ptr<Thread>;

    VXRequestThreads() = default;
    enum class Place { OnIdle, InQueue, OnNew };
    Place place(const Work &work, int maximum);
    void serve(const ThreadPtr &thread, Work work);
    Work waitForWork(const ThreadPtr &thread);
    void becomeFree(const ThreadPtr &thread);

    VXMutex _startLock; // before the other: all threads that are counted have started, or one is just being started
    VXMutex _lock;
    VXCondition _threadEnded;
    std::vector<ThreadPtr> _idle VX_GUARDED_BY(_lock); // the last became free last
    std::deque<Work> _waiting VX_GUARDED_BY(_lock);
    int _threads VX_GUARDED_BY(_lock) = 0;
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
