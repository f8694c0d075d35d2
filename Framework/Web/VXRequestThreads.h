#pragma once

#include "VXMutex.h"

#include <QtCore/QString>

#include <atomic>
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

    /** Runs the work, which throws nothing. `waits` tells whether it waits for its turn.
     *  @return null, or why there is no thread for it and none to wait for: after `close` there is none. */
    [[nodiscard]] QString run(Work work, bool *waits);

    /** Lets threads end once their work has returned, and waits until they are gone with all that belongs to them, but not
     *  longer. What has no thread yet gets none. */
    void close(std::chrono::milliseconds longest);

private:
    struct Thread // under the lock, but for what says that there is something to look for
    {
        VXCondition wake;
        std::atomic<bool> isCalled{false};
        Work work;
        bool hasLeft = false; // it takes no more work, and is not counted
    };
    using ThreadPtr = std::shared_ptr<Thread>;

    VXRequestThreads() = default;
    enum class Place { OnIdle, InQueue, OnNew, None };
    Place place(const Work &work, int maximum);
    void serve(const ThreadPtr &thread, Work work);
    static void watch(const Thread &thread);
    Work waitForWork(const ThreadPtr &thread);
    void becomeFree(const ThreadPtr &thread);
    void leave(Thread &thread) VX_REQUIRES(_lock);

    VXMutex _startLock; // before the other: all threads that are counted have started, or one is just being started
    VXMutex _lock;
    std::vector<ThreadPtr> _idle VX_GUARDED_BY(_lock); // the last became free last
    std::deque<Work> _waiting VX_GUARDED_BY(_lock);
    int _threads VX_GUARDED_BY(_lock) = 0; // that work, or may yet
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
