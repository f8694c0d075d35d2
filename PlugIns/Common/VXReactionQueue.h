#pragma once

#include "VXMutex.h"

#include <deque>
#include <functional>
#include <thread>
#include <vector>

/**
 * Work of a reactor that takes longer than the poster of an event should wait. It is done in order of arrival on a few
 * threads of the queue's own. Any thread may call it, but one thread must call `finish` and destroy the queue.
 */
class VXReactionQueue
{
public:
    VXReactionQueue(size_t maximumThreads, size_t maximumWaiting)
        : _maximumThreads(maximumThreads), _maximumWaiting(maximumWaiting)
    {
    }
    /** Calls `finish`. */
    ~VXReactionQueue() { finish(); }
    VXReactionQueue(const VXReactionQueue &) = delete;
    VXReactionQueue &operator=(const VXReactionQueue &) = delete;

    /** False if too much is waiting already, and after `finish`. The work must not throw. */
    [[nodiscard]] bool add(std::function<void()> work);

    /** False if there is nothing to wait for; otherwise `call` is called once, on a thread of the queue, when all is
     *  done. */
    bool callWhenIdle(std::function<void()> call);

    /** Accepts no more work, and waits until everything is done and the threads are gone. This is final. */
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
