#include "VXRequestThreads.h"

#include "VXBackgroundThread.h"

#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds keptIdle{1000};
constexpr std::chrono::microseconds watchful{60}; // roughly the time of two thread switches
constexpr size_t maximumIdle = 8;
constexpr int maximumThreads = 100; // each needs a few of the process's file descriptors

} // namespace

VXRequestThreads &VXRequestThreads::shared()
{
    static auto *const threads = new VXRequestThreads;
    return *threads;
}

QString VXRequestThreads::run(Work work, bool *waits)
{
    const VXMutexLocker starting(_startLock);
    QString problem = u"the program ends"_s;
    Place found = place(work, maximumThreads);
    if (found == Place::OnNew) {
        try {
            VXBackgroundThread::start([this, work] { serve(std::make_shared<Thread>(), work); }, this);
        } catch (const std::system_error &error) {
            problem = QString::fromLocal8Bit(error.what());
            {
                const VXMutexLocker lock(_lock);
                --_threads;
            }
            found = place(work, 0);
        }
    }
    *waits = found == Place::InQueue;
    return found == Place::None ? problem : QString();
}

// Finds a place for the work: an idle thread; or, if there are the most threads allowed, the queue; or else a new
// thread, which is counted already.
VXRequestThreads::Place VXRequestThreads::place(const Work &work, int maximum)
{
    ThreadPtr idle;
    {
        const VXMutexLocker lock(_lock);
        if (_isClosed)
            return Place::None;
        if (_idle.empty() && _threads < maximum) {
            ++_threads;
            return Place::OnNew;
        }
        if (_idle.empty()) {
            if (_threads > 0)
                _waiting.push_back(work);
            return _threads > 0 ? Place::InQueue : Place::None;
        }
        idle = std::move(_idle.back());
        _idle.pop_back();
        idle->work = work;
        idle->isCalled = true;
    }
    idle->wake.notifyOne(); // without the lock, which the thread would have to wait for
    return Place::OnIdle;
}

void VXRequestThreads::serve(const ThreadPtr &thread, Work work)
{
    while (work) {
        work(Lease(nullptr, [this, thread](void *) { becomeFree(thread); }));
        work = {};
        work = waitForWork(thread);
    }
}

// Busy-waits for a moment: a client that sends one request after the other has the next one at once, and sleeping and
// being woken would take longer.
void VXRequestThreads::watch(const Thread &thread)
{
    const auto end = std::chrono::steady_clock::now() + watchful;
    while (!thread.isCalled && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
}

// Null when the thread has to end.
VXRequestThreads::Work VXRequestThreads::waitForWork(const ThreadPtr &thread)
{
    watch(*thread);
    const VXMutexLocker lock(_lock);
    const auto isDue = [&]() VX_NO_THREAD_SAFETY_ANALYSIS {
        return thread->work != nullptr || thread->hasLeft || _isClosed;
    };
    while (!thread->wake.waitFor(_lock, keptIdle, isDue)) {
        if (std::ranges::find(_idle, thread) != _idle.end())
            break;
    }
    if (!thread->work && !thread->hasLeft) {
        std::erase(_idle, thread);
        leave(*thread);
    }
    thread->isCalled = false;
    return std::exchange(thread->work, {});
}

// Called under the same lock as the decision to end, so that nobody waits for a thread that takes no more work.
void VXRequestThreads::leave(Thread &thread)
{
    thread.hasLeft = true;
    --_threads;
}

// Does not wake the thread: its next work will, or its timeout.
void VXRequestThreads::becomeFree(const ThreadPtr &thread)
{
    const VXMutexLocker lock(_lock);
    if (thread->hasLeft)
        return;
    if (_waiting.empty() && _idle.size() < maximumIdle) {
        _idle.push_back(thread);
        return;
    }
    if (_waiting.empty()) {
        leave(*thread);
    } else {
        thread->work = std::move(_waiting.front());
        _waiting.pop_front();
    }
    thread->isCalled = true;
    thread->wake.notifyOne();
}

void VXRequestThreads::close(std::chrono::milliseconds longest)
{
    std::deque<Work> dropped; // destroyed after the locks are released
    {
        const VXMutexLocker starting(_startLock); // threads that are just being started are known by then
        const VXMutexLocker lock(_lock);
        _isClosed = true;
        dropped.swap(_waiting);
        for (const ThreadPtr &thread : _idle)
            thread->wake.notifyOne();
    }
    static_cast<void>(VXBackgroundThread::awaitEnds(longest, this));
}
