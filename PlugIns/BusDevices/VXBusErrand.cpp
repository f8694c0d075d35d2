#include "VXBusErrand.h"

#include "VXBusText.h"
#include "VXGuard.h"
#include "VXMethodLog.h"

using namespace Qt::StringLiterals;

VXBusErrand::VXBusErrand(const VXBusService::Ptr &service, const VXDeviceAction::Ptr &action,
                         const Conclusion &conclusion)
    : _service(service), _action(action), _conclusion(conclusion)
{
    _deadline.setSingleShot(true);
    connect(&_deadline, &QTimer::timeout, this,
            [this] { fail(VXBusError(VXBusText(u"%1: the answer did not come in time."_s).arg(_what))); });
    connect(_service.get(), &VXBusService::didVanish, this,
            [this] { fail(VXBusError(VXBusText(u"The service %1 has ended."_s).arg(_service->name()))); });
    if (_action)
        connect(_action.get(), &VXDeviceAction::cancelRequested, this, [this] { fail(_action->error()); });
}

VXBusErrand::~VXBusErrand() = default;

// -- Steps

// The caller may be the context itself.
void VXBusErrand::endStep()
{
    ++_step;
    _deadline.stop();
    if (_wait)
        _wait->disconnect();
    for (QObject *const over : {static_cast<QObject *>(_wait.release()), _context.release()}) {
        if (over != nullptr)
            over->deleteLater();
    }
}

void VXBusErrand::begin(const QString &what, std::chrono::milliseconds limit)
{
    if (isConcluded())
        return;
    endStep();
    _context = std::make_unique<QObject>();
    _what = what;
    _limit = limit;
    _deadline.start(limit);
    if (_action)
        _action->setStatusText(what);
}

void VXBusErrand::prolong()
{
    if (!isConcluded())
        _deadline.start(_limit);
}

void VXBusErrand::ask(const VXBusCall &call, const VXBusService::Answer &then, VXBusService *service)
{
    if (!_context)
        return; // concluded, or before the first step
    // The step's own deadline counts; that of the bus library is later, and only makes it forget the call.
    (service != nullptr ? *service : *_service).call(call, 2 * _limit, _context.get(), guarded<QDBusMessage>(then));
}

void VXBusErrand::call(const VXBusCall &call, const Answer &then)
{
    ask(call, [this, then](const QDBusMessage &answer) {
        if (answer.type() == QDBusMessage::ErrorMessage)
            fail(errorOf(answer));
        else
            then(answer.arguments());
    });
}

void VXBusErrand::listen(const QString &path, const QString &interface, const QString &member,
                         const VXBusService::Heard &heard)
{
    if (_context)
        _service->listen(path, interface, member, _context.get(), guarded<QDBusMessage>(heard));
}

void VXBusErrand::wait(std::chrono::milliseconds time, const std::function<void()> &then)
{
    if (!_context)
        return;
    if (!_wait) {
        _wait = std::make_unique<QTimer>();
        _wait->setSingleShot(true);
    }
    _wait->disconnect();
    connect(_wait.get(), &QTimer::timeout, this, guarded(then));
    _wait->start(time);
}

void VXBusErrand::run(const std::function<void()> &code)
{
    const Ptr self = shared_from_this();
    try {
        code();
    } catch (...) {
        const VXThrown thrown = VXDescribeThrown();
        VXLogMethod(VXLogError, "run:", thrown.description);
        fail(VXBusError(thrown.reason));
    }
}

void VXBusErrand::handOver(QVariantList &items, const std::function<void()> &next)
{
    const QVariantList handed = std::exchange(items, {}); // `next` may be called at once
    const auto portion = [handed] { return QVariantMap{{u"items"_s, handed}}; };
    if (!handed.isEmpty() && _action && _action->handOver(portion, guarded<>(next)))
        return;
    items = handed;
    next();
}

// -- The end

void VXBusErrand::succeed(const QVariantMap &result)
{
    _farewell = {};
    conclude(result, {});
}

void VXBusErrand::fail(const VXError &error, const QVariantMap &result)
{
    conclude(result.isEmpty() ? _resultOfFailure : result, error);
}

void VXBusErrand::conclude(const QVariantMap &result, const VXError &error)
{
    if (isConcluded())
        return;
    const Ptr self = shared_from_this();
    const Conclusion conclusion = std::exchange(_conclusion, {});
    endStep();
    if (_action)
        _action->disconnect(this);
    if (const auto farewell = std::exchange(_farewell, {}))
        VXGuard([] { return u"who takes leave of a service"_s; }, farewell);
    conclusion(result, error);
}

VXError VXBusErrand::errorOf(const QDBusMessage &answer)
{
    if (answer.errorName() == "org.freedesktop.DBus.Error.InvalidSignature"_L1)
        return VXBusError(VXBusText(u"The service's answer is not understood."_s), answer.errorMessage());
    const QString text = answer.errorMessage();
    return VXBusError(text.isEmpty() ? answer.errorName() : text);
}
