#pragma once

#include "VXMutex.h"

#include <QtCore/QScopeGuard>

#include <deque>
#include <functional>
#include <optional>
#include <utility>

/**
 * Has one thread at a time deal with what several threads hear of, in the order in which they heard it. News that come while
 * another thread deals with some are left to that one: nobody waits, and no lock is held meanwhile. Any thread.
 */
template <class News>
class VXNewsQueue
{
public:
    using Handler = std::function<void(const News &)>;

    /** Returns at once when another thread is at it; else when all that has come was dealt with. */
    void add(News news, const Handler &handler)
    {
        {
            const VXMutexLocker locker(_lock);
            _waiting.push_back(std::move(news));
            if (std::exchange(_isTaken, true))
                return;
        }
        auto giveUp = qScopeGuard([this] { // something threw
            const VXMutexLocker locker(_lock);
            _isTaken = false;
        });
        while (const std::optional<News> next = takeNext())
            handler(*next);
        giveUp.dismiss();
    }

private:
    /** The next in line, or none and the turn given up. */
    std::optional<News> takeNext()
    {
        const VXMutexLocker locker(_lock);
        if (_waiting.empty()) {
            _isTaken = false;
            return std::nullopt;
        }
        News next = std::move(_waiting.front());
        _waiting.pop_front();
        return next;
    }

    VXMutex _lock;
    std::deque<News> _waiting VX_GUARDED_BY(_lock);
    bool _isTaken VX_GUARDED_BY(_lock) = false;
};
