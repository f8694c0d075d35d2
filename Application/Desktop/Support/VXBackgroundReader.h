#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QThreadPool>

#include <functional>
#include <memory>
#include <utility>

/**
 * Reads something on another thread, and hands it over on the main thread, unless the reader is gone by then. One at a time: what is
 * asked for meanwhile is read once more after that. The program waits for it before it ends. Main thread.
 */
template <class Answer>
class VXBackgroundReader
{
public:
    using Find = std::function<Answer()>;             // on another thread
    using Take = std::function<void(const Answer &)>; // on the main thread

    VXBackgroundReader() : _state(std::make_shared<State>()) {}
    ~VXBackgroundReader() { _state->take = {}; }
    VXBackgroundReader(const VXBackgroundReader &) = delete;
    VXBackgroundReader &operator=(const VXBackgroundReader &) = delete;

    /** Before the first read(). */
    void set(Find find, Take take)
    {
        _state->find = std::move(find);
        _state->take = std::move(take);
    }
    void read() { read(_state); }

private:
    struct State
    {
        Find find;
        Take take; // empty when the reader is gone
        bool isReading = false;
        bool isDue = false;
    };

    static void read(const std::shared_ptr<State> &state)
    {
        state->isDue = state->isReading;
        if (std::exchange(state->isReading, true))
            return;
        QThreadPool::globalInstance()->start([state, find = state->find] {
            QMetaObject::invokeMethod(QCoreApplication::instance(), [state, answer = find()] {
                state->isReading = false;
                if (!state->take)
                    return;
                state->take(answer);
                if (state->take && state->isDue)
                    read(state);
            });
        });
    }

    const std::shared_ptr<State> _state;
};
