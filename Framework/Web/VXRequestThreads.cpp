#include "VXRequestThreads.h"

#include <system_error>
#include <thread>
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

QString VXRequestThreads::run(std::function<void()> work)
{
    std::shared_ptr<Thread> idle;
    {
        const VXMutexLocker lock(_lock);
        if (_idle.empty()) {
            ++_threads;
        } else {
            idle = std::move(_idle.back());
            _idle.pop_back();
            idle->work = std::move(work);
        }
    }
    if (idle) {
        idle->wake.notifyOne(); // without the lock, which it would only have to wait for
        return {};
    }
    try {
        std::thread([this, work = std::move(work)]() mutable { serve(std::move(work)); }).detach();
        return {};
    } catch (const std::system_error &error) {
        const VXMutexLocker lock(_lock);
        --_threads;
        _threadEnded.notifyAll();
        return QString::fromLocal8Bit(error.what());
    }
}

void VXRequestThreads::serve(std::function<void()> work)
{
    const auto self = std::make_shared<Thread>();
    self->work = std::move(work);
    do {
        std::exchange(self->work, {})();
    } while (waitForWork(self));
    const VXMutexLocker lock(_lock);
    --_threads;
    _threadEnded.notifyAll();
}

// False when the thread is to end.
bool VXRequestThreads::waitForWork(const std::shared_ptr<Thread> &thread)
{
    const VXMutexLocker lock(_lock);
    if (_isClosed || _idle.size() >= maximumIdle)
        return false;
    _idle.push_back(thread);
    static_cast<void>(thread->wake.waitFor(
        _lock, keptIdle, [&]() VX_NO_THREAD_SAFETY_ANALYSIS { return thread->work != nullptr || _isClosed; }));
    if (thread->work == nullptr)
        std::erase(_idle, thread);
    return thread->work != nullptr;
}

void VXRequestThreads::close(std::chrono::milliseconds longest)
{
    const VXMutexLocker lock(_lock);
    _isClosed = true;
    for (const std::shared_ptr<Thread> &thread : _idle)
        thread->wake.notifyOne();
    static_cast<void>(
        _threadEnded.waitFor(_lock, longest, [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return _threads == 0; }));
}
