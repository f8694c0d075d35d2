#include "VXBackgroundThread.h"

#include "VXMutex.h"

#include <memory>
#include <thread>
#include <utility>

namespace {

// Each thread that ends waits for the end of the one before it: whoever waits for the last has waited for all.
struct Threads
{
    static Threads &shared()
    {
        static auto &threads = *new Threads; // never freed: they may outlast all else
        return threads;
    }

    VXMutex lock;
    VXCondition isOver;
    int running VX_GUARDED_BY(lock) = 0;
    std::thread last VX_GUARDED_BY(lock); // whose work was done last
};

void end(std::thread &own)
{
    Threads &threads = Threads::shared();
    std::thread before;
    {
        const VXMutexLocker lock(threads.lock);
        before = std::exchange(threads.last, std::move(own));
        --threads.running;
        threads.isOver.notifyAll();
    }
    if (before.joinable())
        before.join();
}

} // namespace

void VXBackgroundThread::start(std::function<void()> work)
{
    Threads &threads = Threads::shared();
    const auto own = std::make_shared<std::thread>();
    const VXMutexLocker lock(threads.lock); // it does not end before it is known by its handle
    *own = std::thread([own, work = std::move(work)]() mutable {
        work();
        work = {};
        end(*own);
    });
    ++threads.running;
}

bool VXBackgroundThread::awaitEnds(std::chrono::milliseconds longest)
{
    Threads &threads = Threads::shared();
    bool areOver = false;
    std::thread last;
    {
        const VXMutexLocker lock(threads.lock);
        areOver = threads.isOver.waitFor(threads.lock, longest,
                                         [&]() VX_NO_THREAD_SAFETY_ANALYSIS { return threads.running == 0; });
        last = std::move(threads.last);
    }
    if (last.joinable())
        last.join();
    return areOver;
}
