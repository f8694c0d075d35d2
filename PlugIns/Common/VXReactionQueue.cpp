#include "VXReactionQueue.h"

#include <utility>

bool VXReactionQueue::add(std::function<void()> work)
{
    const VXMutexLocker lock(_lock);
    if (_isFinished || _waiting.size() >= _maximumWaiting)
        return false;
    _waiting.push_back(std::move(work));
    const size_t idleThreads = _threads.size() - _busyThreads;
    if (idleThreads < _waiting.size() && _threads.size() < _maximumThreads)
        _threads.emplace_back([this] { run(); });
    _changed.notifyOne();
    return true;
}

bool VXReactionQueue::callWhenIdle(std::function<void()> call)
{
    const VXMutexLocker lock(_lock);
    if (_waiting.empty() && _busyThreads == 0)
        return false;
    _whenIdle = std::move(call);
    return true;
}

void VXReactionQueue::run()
{
    _lock.lock();
    while (true) {
        _changed.wait(_lock, [this]() VX_REQUIRES(_lock) { return _isFinished || !_waiting.empty(); });
        if (_waiting.empty())
            break;
        std::function<void()> work = std::move(_waiting.front());
        _waiting.pop_front();
        ++_busyThreads;
        _lock.unlock();
        work();
        work = nullptr;
        _lock.lock();
        --_busyThreads;
        if (!_whenIdle || !_waiting.empty() || _busyThreads > 0)
            continue;
        const std::function<void()> call = std::exchange(_whenIdle, nullptr);
        _lock.unlock();
        call();
        _lock.lock();
    }
    _lock.unlock();
}

// Posters may still hold the reactor: if one of them started a thread now, nobody would join it.
void VXReactionQueue::finish()
{
    std::vector<std::thread> threads;
    {
        const VXMutexLocker lock(_lock);
        _isFinished = true;
        threads = std::move(_threads);
        _threads.clear();
        _changed.notifyAll();
    }
    for (std::thread &thread : threads)
        thread.join();
}
