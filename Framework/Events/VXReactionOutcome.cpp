#include "VXReactionOutcomeState.h"

#include "VXFramework.h"
#include "VXGuard.h"

#include <algorithm>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

using State = VXReactionOutcome::State;

namespace {

/** Outcomes that are not concluded, kept so that they can be cancelled. */
struct OpenOutcomes
{
    VXMutex lock;
    std::vector<std::weak_ptr<State>> states VX_GUARDED_BY(lock);

    static OpenOutcomes &shared()
    {
        static auto *const open = new OpenOutcomes;
        return *open;
    }
};

// Guarded: one that throws must keep neither the others from being cancelled nor the program from ending.
void callCancelHandler(const std::function<void()> &handler)
{
    if (handler)
        VXGuard([&] { return VXDescribeCode(u"The cancel handler of a reaction"_s, handler.target_type()); }, handler);
}

} // namespace

void VXReactionOutcome::conclude(const QString &problem) const
{
    if (_state)
        _state->conclude(problem);
}

void VXReactionOutcome::setCancelHandler(std::function<void()> handler) const
{
    if (!_state)
        return;
    {
        OpenOutcomes &open = OpenOutcomes::shared();
        const VXMutexLocker locker(open.lock);
        std::erase_if(open.states, [](const std::weak_ptr<State> &state) { return state.expired(); });
        open.states.push_back(_state);
    }
    _state->setCancelHandler(std::move(handler));
}

void VXReactionOutcome::cancelAll()
{
    std::vector<std::weak_ptr<State>> states;
    {
        OpenOutcomes &open = OpenOutcomes::shared();
        const VXMutexLocker locker(open.lock);
        states = open.states;
    }
    for (const std::weak_ptr<State> &each : states) {
        if (const std::shared_ptr<State> state = each.lock())
            state->cancel();
    }
}

State::State() = default;

State::~State()
{
    conclude(VXLocalizedString(u"It was given up."_s));
}

void State::conclude(const QString &problem)
{
    Listener listener;
    Conclusion conclusion{problem};
    std::function<void()> cancelHandler; // destroyed without the lock, as it may own more than this
    {
        const VXMutexLocker locker(_lock);
        if (_conclusion)
            return;
        using Milliseconds = std::chrono::duration<double, std::milli>;
        conclusion.milliseconds = Milliseconds(std::chrono::steady_clock::now() - _start).count();
        _conclusion = conclusion;
        listener = std::exchange(_listener, nullptr);
        cancelHandler = std::exchange(_cancelHandler, nullptr);
    }
    if (listener)
        listener(conclusion);
}

void State::setListener(Listener listener)
{
    std::optional<Conclusion> conclusion;
    {
        const VXMutexLocker locker(_lock);
        conclusion = _conclusion;
        if (!conclusion)
            _listener = std::move(listener);
    }
    if (conclusion)
        listener(*conclusion);
}

void State::setCancelHandler(std::function<void()> handler)
{
    {
        const VXMutexLocker locker(_lock);
        if (_conclusion)
            return;
        if (!_isCancelled) {
            _cancelHandler = std::move(handler);
            return;
        }
    }
    callCancelHandler(handler);
}

void State::cancel()
{
    std::function<void()> handler;
    {
        const VXMutexLocker locker(_lock);
        _isCancelled = true;
        handler = std::exchange(_cancelHandler, nullptr);
    }
    callCancelHandler(handler);
}
