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
 * An action that consists of others on the same device, one after the other: their progress is shown as its own, and its cancel
 * goes to the one that runs. It is to end the whole; a step that throws ends it with that error. Main thread.
 */
class VXDeviceWork : public std::enable_shared_from_this<VXDeviceWork>
{
public:
    virtual ~VXDeviceWork() = default;
    VXDeviceWork(const VXDeviceWork &) = delete;
    VXDeviceWork &operator=(const VXDeviceWork &) = delete;

    /** Registers a handler with every device that has handlers for all of the actions, now and as they are added. `make` makes the
     *  work for an action. What goes on when the program ends is cancelled; when the owner unloads it is ended, which waits until no
     *  other thread works on it, and no more is begun. */
    using Maker = std::function<std::shared_ptr<VXDeviceWork>(const VXDeviceAction::Ptr &action)>;
    static void offer(VXPlugin *owner, const QString &name, const QString &neededAction, const Maker &make);

protected:
    /** One at a time works under the lock of that file, whoever's; another is refused. Null: any number. */
    explicit VXDeviceWork(const VXDeviceAction::Ptr &action, const QString &lockPath = {})
        : _whole(action), _lockPath(lockPath)
    {
    }

    virtual void start() = 0;
    /** Concludes the whole, with what it had to report set; nothing is called any more. */
    void end();
    const VXDeviceAction::Ptr &whole() const { return _whole; }

    using Then = std::function<void(const VXDeviceAction &part)>;
    /** Has the device do this, and then calls `then`, unless the whole was cancelled meanwhile: then it is concluded. What
     *  is read goes to the taker, where there is one and the device knows portions. */
    void perform(const QString &name, const QVariant &object, const QString &statusText, const Then &then,
                 const VXDeviceAction::Taker &taker = {});
    /** Has another thread work, and then calls `then` with what it made, unless the whole has ended before. What either throws
     *  ends the whole with that error. The owner does not unload before `work` returns, so it may use all that is there until then; but
     *  quitting waits for it, so what takes long looks whether the whole is cancelled. It takes one of the few threads of the global
     *  pool, also while it waits for a lock. */
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
    /** Breaks off what is performed, if anything is; `then` is called as ever. */
    void cancelPart();
    /** True, when after a failure there is no sense in going on: cancelled, or the phone is gone. */
    bool isOver() const;

private:
    /** What goes on for an owner. Main thread, but for the gate. */
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
    std::weak_ptr<VXDeviceAction> _part; // that was performed last
    std::optional<VXFileLock> _lock;     // from the begin to the end
    std::shared_ptr<Begun> _begun;       // that it is of
    bool _hasEnded = false;
    std::atomic<bool> _isLeft = false; // nobody waited for the end any longer; the whole may be executed again
};
