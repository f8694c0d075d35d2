#include "VXBackgroundThread.h"

#include "VXMutex.h"

#include <algorithm>
#include <map>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace {

// Each thread that ends waits for the end of its owner's previous one: so waiting for the last one waits for all.
struct OwnedThreads
{
    int running = 0;
    std::thread last; // the one that finished its work last
};

struct Threads
{
    static Threads &shared()
    {
        static auto &threads = *new Threads; // never freed: threads may outlast everything else
        return threads;
    }

    VXMutex lock;
    VXCondition isOver;
    std::map<const void *, OwnedThreads> byOwner VX_GUARDED_BY(lock);
};

void end(std::thread &own, const void *owner)
{
    Threads &threads = Threads::shared();
    std::thread before;
    {
        const VXMutexLocker lock(threads.lock);
        OwnedThreads &ofOwner = threads.byOwner[owner];
        before = std::exchange(ofOwner.last, std::move(own));
        --ofOwner.running;
        threads.isOver.notifyAll();
    }
    if (before.joinable())
        before.join();
}

} // namespace

void VXBackgroundThread::start(std::function<void()> work, const void *owner)
{
    Threads &threads = Threads::shared();
    const auto own = std::make_shared<std::thread>();
    const VXMutexLocker lock(threads.lock); // keeps it from ending before its handle is stored
    *own = std::thread([own, owner, work = std::move(work)]() mutable {
        work();
        work = {};
        end(*own, owner);
    });
    ++threads.byOwner[owner].running;
}

bool VXBackgroundThread::awaitEnds(std::chrono::milliseconds longest, const void *owner)
{
    Threads &threads = Threads::shared();
    bool areOver = false;
    std::vector<std::thread> last;
    {
        const VXMutexLocker lock(threads.lock);
        const auto isMeant = [owner](const void *other) { return owner == nullptr || owner == other; };
        areOver = threads.isOver.waitFor(threads.lock, longest, [&]() VX_NO_THREAD_SAFETY_ANALYSIS {
            return std::ranges::none_of(
                threads.byOwner, [&](const auto &each) { return isMeant(each.first) && each.second.running > 0; });
        });
        for (auto &[other, ofOwner] : threads.byOwner) {
            if (isMeant(other) && ofOwner.last.joinable())
                last.push_back(std::move(ofOwner.last));
        }
    }
    for (std::thread &thread : last)
        thread.join();
    return areOver;
}
