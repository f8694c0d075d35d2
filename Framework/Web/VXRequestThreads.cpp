#include "VXRequestThreads.h"

#include "VXBackgroundThread.h"

#include <system_error>
#include <utility>

namespace {

constexpr std::chrono::milliseconds keptIdle{1000};
constexpr size_t maximumIdle = 8;

} // namespace

VXRequestThreads &VXRequestThreads::shared()
{
    static auto *const threads = new VXRequestThreads;
    return *threads;
}

QString VXRequestThreads::run(std::function<void(Lease)> work)
{
    if (const ThreadPtr idle = takeIdle(work)) {
        idle->wake.notifyOne(); // without the lock, which it would only have to wait for
        return {};
    }
    try {
        VXBackgroundThread::start(
            [this, work = std::move(work)]() mutable { serve(std::make_shared<Thread>(), std::move(work)); });
        return {};
    } catch (const std::system_error &error) {
        const VXMutexLocker lock(_lock);
        --_threads;
        return QString::fromLocal8Bit(error.what());
    }
}

// Null, and a thread more is counted, when there is none; else the work is the thread's.
VXRequestThreads::ThreadPtr VXRequestThreads::takeIdle(std::function<void(Lease)> &work)
{
    const VXMutexLocker lock(_lock);
    if (_idle.empty()) {
        ++_threads;
        return nullptr;
    }
    ThreadPtr idle = std::move(_idle.back());
    _idle.pop_back();
    idle->work = std::move(work);
    return idle;
}

void VXRequestThreads::serve(const ThreadPtr &thread, std::function<void(Lease)> work)
{
    while (work) {
        work(Lease(nullptr, [this, thread](void *) { becomeFree(thread); }));
        work = {};
        work = waitForWork(thread);
    }
    const VXMutexLocker lock(_lock);
    --_threads;
    _threadEnded.notifyAll();
}

// Null when the thread is to end.
std::function<void(VXRequestThreads::Lease)> VXRequestThreads::waitForWork(const ThreadPtr &thread)
{
    const VXMutexLocker lock(_lock);
    const auto isDue = [&]() VX_NO_THREAD_SAFETY_ANALYSIS {
        return thread->work != nullptr || thread->shallEnd || _isClosed;
    };
    while (!thread->wake.waitFor(_lock, keptIdle, isDue)) {
        if (std::erase(_idle, thread) > 0)
            break;
    }
    thread->hasEnded = thread->work == nullptr;
    if (thread->hasEnded)
        std::erase(_idle, thread);
    return std::exchange(thread->work, {});
}

// The thread is not woken: it will be by its next work, or in a while by itself.
void VXRequestThreads::becomeFree(const ThreadPtr &thread)
{
    const VXMutexLocker lock(_lock);
    if (thread->hasEnded)
        return;
    if (_idle.size() < maximumIdle) {
        _idle.push_back(thread);
    } else {
        thread->shallEnd = true;
        thread->wake.notifyOne();
    }
}

void VXRequestThreads::close(std::chrono::milliseconds longest)
{
    const VXMutexLocker lock(_lock);
    _isClosed = true;
    for (const ThreadPtr &thread : _idle)
        thread->wake.notifyOne();
    static_cast<void>(
        _threadEnded.waitFor(_lock, longest, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return _threads == 0; }));
}
