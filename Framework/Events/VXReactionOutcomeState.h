#pragma once

#include "VXMutex.h"
#include "VXReactionOutcome.h"

#include <QtCore/QString>

#include <chrono>
#include <functional>
#include <optional>

/** The state that copies of an outcome share. Its destruction concludes it. */
class VXReactionOutcome::State
{
public:
    struct Conclusion
    {
        QString problem; // null for success
        double milliseconds = 0;
    };
    using Listener = std::function<void(const Conclusion &conclusion)>;

    State();
    ~State();
    State(const State &) = delete;
    State &operator=(const State &) = delete;

    void conclude(const QString &problem);
    /** Sets the only listener. It is called once, with no lock held; immediately if the outcome is already concluded.
     *  */
    void setListener(Listener listener);

    void setCancelHandler(std::function<void()> handler);
    void cancel();

private:
    const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
    VXMutex _lock;
    std::optional<Conclusion> _conclusion VX_GUARDED_BY(_lock);
    Listener _listener VX_GUARDED_BY(_lock);
    std::function<void()> _cancelHandler VX_GUARDED_BY(_lock);
    bool _isCancelled VX_GUARDED_BY(_lock) = false;
};
