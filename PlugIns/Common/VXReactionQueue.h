#pragma once

#include "VXMutex.h"

#include <deque>
#include <functional>
#include <thread>
#include <vector>

/**
 * Work that takes a reactor longer than who posts an event should wait: done in order of arrival on a few threads of the
 * queue's own. Any thread may call; `finish` and the end of the queue belong to one.
 */
class VXReactionQueue
{
public:
    VXReactionQueue(size_t maximumThreads, size_t maximumWaiting)
        : _maximumThreads(maximumThreads), _maximumWaiting(maximumWaiting)
    {
    }
    /** As `finish`. */
    ~VXReactionQueue() { finish(); }
    VXReactionQueue(const VXReactionQueue &) = delete;
    VXReactionQueue &operator=(const VXReactionQueue &) = delete;

    /** False when too much is waiting already, and from `finish` on. The work throws nothing. */
    [[nodiscard]] bool add(std::function<void()> work);

    /** False when there is nothing to wait for; else `call` is called once, on a thread of the queue, when all is done. */
    bool callWhenIdle(std::function<void()> call);

    /** Takes no more work, and waits until all is done and the threads are gone. For good. */
    void finish();

private:
    void run();

    const size_t _maximumThreads;
    const size_t _maximumWaiting;
    VXMutex _lock;
    VXCondition _changed;
    std::deque<std::function<void()>> _waiting VX_GUARDED_BY(_lock);
    std::vector<std::thread> _threads VX_GUARDED_BY(_lock);
    size_t _busyThreads VX_GUARDED_BY(_lock) = 0;
    bool _isFinished VX_GUARDED_BY(_lock) = false;
    std::function<void()> _whenIdle VX_GUARDED_BY(_lock);
};
