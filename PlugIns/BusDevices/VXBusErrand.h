#pragma once

#include "VXBusService.h"
#include "VXDeviceAction.h"
#include "VXMainThread.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QThreadPool>

#include <type_traits>

/**
 * Something that is done on a service in steps, one after the other, and concluded once: with a result, with an error, when a
 * step is not over in time, when the service ends, or when its action is cancelled. Whatever comes for a step that is over is
 * dropped: late and second answers, signals, results of a worker. Functions that are handed in belong to the step that is at
 * work then. Made by VXBusQueue; main thread.
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
    /** Whose errand it is; null for one of the device itself. */
    const VXDeviceAction::Ptr &action() const { return _action; }
    /** What the action concerns; invalid without. */
    QVariant object() const { return _action ? _action->object() : QVariant(); }
    bool isConcluded() const { return !_conclusion; }

    // -- Steps
    /** Ends the step before, and begins one, which fails the errand when it is not over in time. `what` names it for the user,
     *  as "Reading messages". */
    void begin(const QString &what, std::chrono::milliseconds limit);
    /** Gives the step its whole time once more: something came. */
    void prolong();

    /** Calls; an error fails the errand. */
    void call(const VXBusCall &call, const Answer &then);
    /** Calls; errors come to `then`. On the errand's service, or another one. */
    void ask(const VXBusCall &call, const VXBusService::Answer &then, VXBusService *service = nullptr);
    /** Hands over signals (VXBusService::listen) during this step. */
    void listen(const QString &path, const QString &interface, const QString &member, const VXBusService::Heard &heard);
    /** Calls after a time, unless the step is over by then. Each call replaces the wait before. */
    void wait(std::chrono::milliseconds time, const std::function<void()> &then);
    /** Has another thread work, and hands over what it made. */
    template <class Work, class Then>
    void compute(Work work, Then then)
    {
        auto take = guarded<std::invoke_result_t<Work>>(std::move(then));
        QThreadPool::globalInstance()->start([work = std::move(work), take = std::move(take)]() mutable {
            VXMainThread::perform([take = std::move(take), made = work()] { take(made); });
        });
    }
    /** The function while this step is at work, nothing after. What it throws fails the errand. */
    template <class... Arguments, class Function>
    std::function<void(const Arguments &...)> guarded(Function function)
    {
        return [self = weak_from_this(), step = _step, function = std::move(function)](const Arguments &...arguments) {
            const Ptr errand = self.lock();
            if (errand && errand->_step == step && !errand->isConcluded())
                errand->run([&] { function(arguments...); });
        };
    }

    // -- The end
    /** What takes leave of the service when the errand ends otherwise than by `succeed`; nobody waits for it. */
    void setFarewell(const std::function<void()> &farewell) { _farewell = farewell; }
    /** The result of a failure that brings none, from now on: what is known to be done, or not to be. */
    void setResultOfFailure(const QVariantMap &result) { _resultOfFailure = result; }
    /** Of two conclusions the first counts. */
    void succeed(const QVariantMap &result = {});
    /** `result` is what was done all the same. */
    void fail(const VXError &error, const QVariantMap &result = {});
    /** The error that an answer is, for the user. */
    static VXError errorOf(const QDBusMessage &answer);

    /** Runs code that may throw, which fails the errand. */
    void run(const std::function<void()> &code);

private:
    void endStep();
    void conclude(const QVariantMap &result, const VXError &error);

    const VXBusService::Ptr _service;
    const VXDeviceAction::Ptr _action;
    Conclusion _conclusion; // none once it is concluded
    std::function<void()> _farewell;
    QVariantMap _resultOfFailure;
    quint64 _step = 0; // counts them
    QString _what;
    std::chrono::milliseconds _limit{};
    QTimer _deadline;
    std::unique_ptr<QTimer> _wait;
    std::unique_ptr<QObject> _context; // of what the step listens to
};
