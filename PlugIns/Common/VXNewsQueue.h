#pragma once

#include "VXMutex.h"

#include <QtCore/QScopeGuard>

#include <deque>
#include <functional>
#include <optional>
#include <utility>

/**
 * Has one thread at a time process what several threads hear of, in the order in which they heard it. News that arrives
 * while another thread is processing is left to that thread: nobody waits, and no lock is held meanwhile. Any thread.
 */
template <class News>
class VXNewsQueue
{
public:
    using Handler = std::function<void(const News &)>;

    /** Returns at once if another thread is processing; otherwise after everything that has arrived was processed. */
    void add(News news, const Handler &handler)
    {
        {
            const VXMutexLocker locker(_lock);
            _waiting.push_back(std::move(news));
            if (std::exchange(_isTaken, true))
                return;
        }
        auto giveUp = qScopeGuard([this] { // an exception was thrown
            const VXMutexLocker locker(_lock);
            _isTaken = false;
        });
        while (const std::optional<News> next = takeNext())
            handler(*next);
        giveUp.dismiss();
    }

private:
    /** The next item, or none, in which case the turn is given up. */
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
