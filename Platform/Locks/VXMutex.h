#pragma once

#include "VXThreadSafety.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

/** A standard mutex that clang's thread-safety analysis understands. */
class VX_CAPABILITY("mutex") VXMutex
{
public:
    VXMutex() = default;
    VXMutex(const VXMutex &) = delete;
    VXMutex &operator=(const VXMutex &) = delete;

    void lock() VX_ACQUIRE() { _mutex.lock(); }
    bool try_lock() VX_TRY_ACQUIRE(true) { return _mutex.try_lock(); }
    void unlock() VX_RELEASE() { _mutex.unlock(); }

private:
    friend class VXCondition;
    std::mutex _mutex;
};

/** Like VXMutex, for the few places where the holder may lock it again. */
class VX_CAPABILITY("mutex") VXRecursiveMutex
{
public:
    VXRecursiveMutex() = default;
    VXRecursiveMutex(const VXRecursiveMutex &) = delete;
    VXRecursiveMutex &operator=(const VXRecursiveMutex &) = delete;

    void lock() VX_ACQUIRE() { _mutex.lock(); }
    bool try_lock() VX_TRY_ACQUIRE(true) { return _mutex.try_lock(); }
    void unlock() VX_RELEASE() { _mutex.unlock(); }

private:
    std::recursive_mutex _mutex;
};

/** Holds a VXMutex or VXRecursiveMutex for a scope. */
template <class Mutex = VXMutex>
class VX_SCOPED_CAPABILITY VXMutexLocker
{
public:
    explicit VXMutexLocker(Mutex &mutex) VX_ACQUIRE(mutex) : _mutex(mutex) { _mutex.lock(); }
    ~VXMutexLocker() VX_RELEASE() { _mutex.unlock(); }
    VXMutexLocker(const VXMutexLocker &) = delete;
    VXMutexLocker &operator=(const VXMutexLocker &) = delete;

private:
    Mutex &_mutex;
};

/** A condition variable for VXMutex. The caller must hold the mutex, and holds it again when a wait returns. */
class VXCondition
{
public:
    template <class Predicate>
    void wait(VXMutex &mutex, Predicate predicate) VX_REQUIRES(mutex)
    {
        std::unique_lock lock(mutex._mutex, std::adopt_lock);
        _condition.wait(lock, predicate);
        lock.release();
    }

    /** Same as wait, but gives up after that time. @return the value of the predicate at that point. */
    template <class Predicate>
    bool waitFor(VXMutex &mutex, std::chrono::milliseconds time, Predicate predicate) VX_REQUIRES(mutex)
    {
        std::unique_lock lock(mutex._mutex, std::adopt_lock);
        const bool isMet = _condition.wait_for(lock, time, predicate);
        lock.release();
        return isMet;
    }

    void notifyOne() { _condition.notify_one(); }
    void notifyAll() { _condition.notify_all(); }

private:
    std::condition_variable _condition;
};
