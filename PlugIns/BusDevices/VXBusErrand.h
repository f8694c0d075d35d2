#pragma once

#include "VXBusService.h"
#include "VXDeviceAction.h"
#include "VXMainThread.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QThreadPool>

#include <type_traits>

/**
 * A task that is carried out on a service step by step, and concluded once: with a result, or with an error if a step
 * does not finish in time, the service ends, or the action is cancelled. Whatever arrives for a step that is over is
 * dropped: late and second answers, signals, results of a worker. Functions that are passed in belong to the step that
 * is current at the time. Made by VXBusQueue; main thread.
 */
class VXBusErrand : public QObject, public std::enable_shared_from_this<VXBusErrand>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXBusErrand>;
    using Answer = std::function<void(const QVariantList &arguments)>;
    using Conclusion = std::function<void(const QVariantMap &result, const VXError &error)>;

    /** `action` may be null. */
    VXBusErrand(const VXBusService::Ptr &service, const VXDeviceAction::Ptr &action, const Conclusion &conclusion);
    ~VXBusErrand() override;

    VXBusService &service() const { return *_service; }
    /** The action it is done for; null for a task of the device itself. */
    const VXDeviceAction::Ptr &action() const { return _action; }
    /** The action's object; invalid without an action. */
    QVariant object() const { return _action ? _action->object() : QVariant(); }
    bool isConcluded() const { return !_conclusion; }

    // -- Steps
    /** Ends the previous step and begins a new one, which fails the errand if it does not finish in time. `what` names
     *  it for the user, such as "Reading messages". */
    void begin(const QString &what, std::chrono::milliseconds limit);
    /** Gives the step its full time again, because something arrived. */
    void prolong();

    /** Makes the call; an error fails the errand. */
    void call(const VXBusCall &call, const Answer &then);
    /** Makes the call and passes errors to `then`. On the errand's service, or on another one. */
    void ask(const VXBusCall &call, const VXBusService::Answer &then, VXBusService *service = nullptr);
    /** Passes on signals (VXBusService::listen) during this step. */
    void listen(const QString &path, const QString &interface, const QString &member, const VXBusService::Heard &heard);
    /** Calls after a time, unless the step is over by then. Each call replaces the previous wait. */
    void wait(std::chrono::milliseconds time, const std::function<void()> &then);
    /** Runs the work on another thread, and passes on its result. */
    template <class Work, class Then>
    void compute(Work work, Then then)
    {
        auto take = guarded<std::invoke_result_t<Work>>(std::move(then));
        QThreadPool::globalInstance()->start([work = std::move(work), take = std::move(take)]() mutable {
            VXMainThread::perform([take = std::move(take), made = work()] { take(made); });
        });
    }
    /** Wraps the function so that it runs only as long as the step is current. An exception from it fails the errand.
     *  */
    template <class... Arguments, class Function>
    std::function<void(const Arguments &...)> guarded(Function function)
    {
        return [self = weak_from_this(), step = _step, function = std::move(function)](const Arguments &...arguments) {
            const Ptr errand = self.lock();
            if (errand && errand->_step == step && !errand->isConcluded())
                errand->run([&] { function(arguments...); });
        };
    }

    // -- Results in portions
    /** For a step in which who takes portions keeps what was read. */
    static constexpr std::chrono::seconds takingLimit{300};
    /** Hands the items over to whoever takes portions of the action's result, or leaves them; calls `next` when more may
     *  come, unless the step is over by then. */
    void handOver(QVariantList &items, const std::function<void()> &next);

    // -- The end
    /** Sets what says goodbye to the service if the errand ends in any way other than `succeed`; nobody waits for it.
     *  */
    void setFarewell(const std::function<void()> &farewell) { _farewell = farewell; }
    /** Sets the result for later failures that bring none of their own: what is known to have been done, or not to have
     *  been done. */
    void setResultOfFailure(const QVariantMap &result) { _resultOfFailure = result; }
    /** Only the first conclusion counts. */
    void succeed(const QVariantMap &result = {});
    /** `result` is what was done nevertheless. */
    void fail(const VXError &error, const QVariantMap &result = {});
    /** The error in an answer, in a form for the user. */
    static VXError errorOf(const QDBusMessage &answer);

    /** Runs code that may throw, which fails the errand. */
    void run(const std::function<void()> &code);

private:
    void endStep();
    void conclude(const QVariantMap &result, const VXError &error);

    const VXBusService::Ptr _service;
    const VXDeviceAction::Ptr _action;
    Conclusion _conclusion; // null once it is concluded
    std::function<void()> _farewell;
    QVariantMap _resultOfFailure;
    quint64 _step = 0; // counts the steps
    QString _what;
    std::chrono::milliseconds _limit{};
    QTimer _deadline;
    std::unique_ptr<QTimer> _wait;
    std::unique_ptr<QObject> _context; // context of what the step listens to
};
