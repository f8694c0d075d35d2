#pragma once

#include "VXDeviceAction.h"
#include "VXFileLock.h"
#include "VXMainThread.h"
#include "VXWorkerGate.h"

#include <QtCore/QThreadPool>

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

/**
 * An action made up of other actions on the same device, one after the other. Their progress is shown as its own, and
 * cancelling it cancels the one that is running. That is meant to end the whole; a step that throws ends it with that
 * error. Main thread.
 */
class VXDeviceWork : public std::enable_shared_from_this<VXDeviceWork>
{
public:
    virtual ~VXDeviceWork() = default;
    VXDeviceWork(const VXDeviceWork &) = delete;
    VXDeviceWork &operator=(const VXDeviceWork &) = delete;

    /** Registers a handler with every device that has handlers for all of the actions, now and whenever one is added.
     *  `make` makes the work for an action. Work in progress is cancelled when the program ends. When the owner
     *  unloads, it is ended, which waits until no other thread works on it, and no more is begun. */
    using Maker = std::function<std::shared_ptr<VXDeviceWork>(const VXDeviceAction::Ptr &action)>;
    static void offer(VXPlugin *owner, const QString &name, const QString &neededAction, const Maker &make);

protected:
    /** Only one at a time, of any process, works under the lock of that file; others are refused. Null: any number. */
    explicit VXDeviceWork(const VXDeviceAction::Ptr &action, const QString &lockPath = {})
        : _whole(action), _lockPath(lockPath)
    {
    }

    virtual void start() = 0;
    /** Concludes the whole with the report set so far; nothing is called any more. */
    void end();
    const VXDeviceAction::Ptr &whole() const { return _whole; }

    using Then = std::function<void(const VXDeviceAction &part)>;
    /** Has the device do this, and then calls `then`, unless the whole was cancelled meanwhile; then it is concluded.
     *  What is read goes to the taker, if there is one and the device supports portions. */
    void perform(const QString &name, const QVariant &object, const QString &statusText, const Then &then,
                 const VXDeviceAction::Taker &taker = {});
    /** Runs `work` on another thread, and then calls `then` with its result, unless the whole has ended before. An
     *  exception from either ends the whole with that error. The owner does not unload before `work` returns, so until
     *  then `work` may use everything. But quitting waits for it too, so long work should check whether the whole is
     *  cancelled. It occupies one of the few threads of the global pool, even while it waits for a lock. */
    template <class Work, class Then>
    void compute(Work work, Then then)
    {
        using Made = std::invoke_result_t<Work>;
        QThreadPool::globalInstance()->start([self = shared_from_this(), work = std::function<Made()>(std::move(work)),
                                              then = std::move(then)]() mutable {
            if (!self->_begun->gate.enter())
                return;
            const auto made = std::make_shared<std::optional<Made>>();
            std::exception_ptr thrown;
            try {
                *made = work();
            } catch (...) {
                thrown = std::current_exception();
            }
            work = {}; // what it held may be much, and goes on this thread
            self->_begun->gate.leave();
            VXMainThread::perform([self = std::move(self), made, thrown, then = std::move(then)] {
                self->carryOut([&] {
                    if (thrown)
                        std::rethrow_exception(thrown);
                    then(**made);
                });
            });
        });
    }
    /** Breaks off the action that is running, if any; `then` is called as usual. */
    void cancelPart();
    /** True if there is no point in going on after a failure: the whole was cancelled, or the phone is gone. */
    bool isOver() const;

private:
    /** The work in progress of an owner. Main thread, except for the gate. */
    struct Begun
    {
        static void begin(const std::shared_ptr<Begun> &begun, const VXDeviceAction::Ptr &action, const Maker &make);
        void cancel() const;
        void breakOff();
        std::vector<std::shared_ptr<VXDeviceWork>> going() const;

        VXWorkerGate gate = {};
        std::vector<std::weak_ptr<VXDeviceWork>> works = {};
        bool isUnloading = false;
    };

    static void offerTo(VXDevicePlugin *device, VXPlugin *owner, const QString &name, const QString &neededAction,
                        const std::shared_ptr<Begun> &begun, const Maker &make);
    void begin();
    void carryOut(const std::function<void()> &step);

    const VXDeviceAction::Ptr _whole;
    const QString _lockPath;
    std::weak_ptr<VXDeviceAction> _part; // the last one that was performed
    std::optional<VXFileLock> _lock;     // from the begin to the end
    std::shared_ptr<Begun> _begun;       // the set it belongs to
    bool _hasEnded = false;
    std::atomic<bool> _isLeft = false; // nobody waits for the end any longer; the action may be executed again
};
