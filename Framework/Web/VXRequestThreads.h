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
 * Threads for requests, one each, up to 100 at the same time: further requests wait for their turn, also when the
 * system cannot provide another thread. A thread that becomes free is kept for a moment, since creating another would
 * take longer than many requests do. Any thread.
 */
class VXRequestThreads
{
public:
    /** Keeps the thread busy: it does nothing else until the last copy is gone. */
    using Lease = std::shared_ptr<void>;

    static VXRequestThreads &shared();

    using Work = std::function<void(Lease)>;

    /** Runs the work, which must not throw. `waits` receives whether it has to wait for its turn. @return null, or why
     *  there is no thread for it and none to wait for; after `close` there is none. */
    [[nodiscard]] QString run(Work work, bool *waits);

    /** Lets threads end once their work has returned, and waits, at most for the given time, until they are gone with
     *  everything that belongs to them. Work that has no thread yet is dropped. */
    void close(std::chrono::milliseconds longest);

private:
    struct Thread // guarded by _lock, except isCalled
    {
        VXCondition wake;
        std::atomic<bool> isCalled{false};
        Work work;
        bool hasLeft = false; // it takes no more work, and is no longer counted
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

    VXMutex _startLock; // to be locked before _lock: while it is free, all counted threads have started
    VXMutex _lock;
    std::vector<ThreadPtr> _idle VX_GUARDED_BY(_lock); // the one that became free last is last
    std::deque<Work> _waiting VX_GUARDED_BY(_lock);
    int _threads VX_GUARDED_BY(_lock) = 0; // threads that work, or may do so again
    bool _isClosed VX_GUARDED_BY(_lock) = false;
};
