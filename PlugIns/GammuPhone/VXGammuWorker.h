#pragma once

#include "VXDeviceAction.h"
#include "VXGammuSession.h"
#include "VXMutex.h"

#include <deque>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

/**
 * The thread of one phone, the only one that touches it: works off what is asked of the phone, in order, and between
 * that listens to what the phone reports. Actions conclude on the main thread. Any thread may call, but `stop`, which
 * is the owner's.
 */
class VXGammuWorker
{
public:
    /** Work on the phone: it looks at the action between items, and answers what went wrong. */
    using Work = std::function<VXError(VXGammuSession &session)>;

    /** What the owner wants to know; called on the worker's thread, which must not wait for the owner. */
    struct Listener
    {
        std::function<void(VXGammuSession &)> didOpen;
        std::function<void()> didClose;
        std::function<void(const VXError &)> didFailToOpen;
        std::function<void(VXGammuSession &, const std::vector<VXGammuReport> &)> didReport;
    };

    VXGammuWorker(VXGammuSession::Configure configure, Listener listener);
    ~VXGammuWorker();

    /** Connects if need be, does the work, and concludes the action, which may be none (null). */
    void enqueue(const VXDeviceAction::Ptr &action, Work work);

    /** To be called every now and then while busy: gives up what was cancelled, takes too long or lost its phone. */
    void watch();
    /** True while something is asked of the phone. */
    bool isBusy() const;
    bool isConnected() const { return _session.isOpen(); }

    /** Ends what runs, and the thread; what still waits is concluded with an error. To be called once or more often. */
    void stop();

private:
    struct Job
    {
        VXDeviceAction::Ptr action;
        Work work;
        bool wasCancelled = false; // seen by the last watch: it gets a moment to end by itself

        bool isCancelled() const { return action && action->isCancelled(); }
    };

    void run();
    bool takeJob(); // false: stop
    void watchCurrent() VX_REQUIRES(_lock);
    void perform(const Job &job);
    VXError work(const Job &job);
    void idle();
    void finishCall();

    const Listener _listener;
    VXGammuSession _session;
    bool _wasOpen = false; // the thread's own

    mutable VXMutex _lock;
    VXCondition _changed;
    std::deque<Job> _jobs VX_GUARDED_BY(_lock);
    std::optional<Job> _current VX_GUARDED_BY(_lock);
    bool _isStopping VX_GUARDED_BY(_lock) = false;
    std::thread _thread; // last: it uses the rest
};
