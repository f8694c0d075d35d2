#include "VXBusService.h"

#include "VXBusInbox.h"
#include "VXBusText.h"
#include "VXGuard.h"

#include <QtDBus/QDBusPendingCallWatcher>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds busLimit{10};
constexpr std::chrono::seconds startLimit{30};

QHash<QString, std::weak_ptr<VXBusService>> &services()
{
    static auto *const services = new QHash<QString, std::weak_ptr<VXBusService>>; // used on the main thread only
    return *services;
}

void callWithGuard(const VXBusService::Answer &answer, const QDBusMessage &message)
{
    VXGuard([] { return u"who waited for an answer on the bus"_s; }, [&] { answer(message); });
}

QDBusMessage checked(const QDBusMessage &answer, const QString &signature)
{
    if (answer.type() == QDBusMessage::ErrorMessage || signature.isNull() || answer.signature() == signature)
        return answer;
    return QDBusMessage::createError(
        u"org.freedesktop.DBus.Error.InvalidSignature"_s,
        VXBusText(u"The answer is of the type \"%1\" and not \"%2\"."_s).arg(answer.signature(), signature));
}

void await(const QDBusPendingCall &pending, const QString &signature, QObject *context,
           const VXBusService::Answer &answer)
{
    auto *const watcher = new QDBusPendingCallWatcher(pending, context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [watcher, signature, context, answer] {
        watcher->deleteLater();
        VXBusInbox::shared().add([message = watcher->reply(), signature, waiting = QPointer<QObject>(context), answer] {
            if (waiting)
                callWithGuard(answer, checked(message, signature));
        });
    });
}

} // namespace

VXBusService::Ptr VXBusService::named(const QString &name, const QString &bus)
{
    const VXBusLink::Ptr link = VXBusLink::toBus(bus);
    const QString key = u"%1 %2"_s.arg(quintptr(link.get())).arg(name);
    Ptr service = services().value(key).lock();
    if (!service) {
        service = Ptr(new VXBusService(name, bus), [](VXBusService *unused) { unused->deleteLater(); });
        services().insert(key, service);
    }
    return service;
}

VXBusService::VXBusService(const QString &name, const QString &bus) : _name(name), _link(VXBusLink::toBus(bus))
{
    connect(_link.get(), &VXBusLink::didOpen, this, &VXBusService::watch);
    connect(_link.get(), &VXBusLink::didClose, this, &VXBusService::busDidClose);
    if (_link->isOpen())
        watch();
}

QString VXBusService::problem() const
{
    if (isThere())
        return {};
    return _link->problem().isNull() ? VXBusText(u"The service %1 is not running."_s).arg(_name) : _link->problem();
}

// -- Whether it is there

void VXBusService::callBus(const QString &method, const QVariantList &arguments,
                           void (VXBusService::*then)(const QDBusMessage &))
{
    QDBusMessage question = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                           u"org.freedesktop.DBus"_s, method);
    question.setArguments(arguments);
    const auto limit = method == "StartServiceByName"_L1 ? startLimit : busLimit;
    await(_link->connection().asyncCall(question, int(std::chrono::milliseconds(limit).count())), {}, _watcher.get(),
          [this, then](const QDBusMessage &answer) { (this->*then)(answer); });
}

void VXBusService::watch()
{
    _watcher =
        std::make_unique<QDBusServiceWatcher>(_name, _link->connection(), QDBusServiceWatcher::WatchForOwnerChange);
    connect(_watcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) {
                VXBusInbox::shared().add([this, watcher = QPointer(_watcher.get()), owner] {
                    if (watcher)
                        ownerDidChange(owner);
                });
            });
    callBus(u"GetNameOwner"_s, {_name}, &VXBusService::concludeLookUp);
    if (_isStarting)
        callBus(u"StartServiceByName"_s, {_name, quint32(0)}, &VXBusService::concludeStart);
}

void VXBusService::concludeLookUp(const QDBusMessage &answer)
{
    if (std::exchange(_isKnown, true))
        return;
    if (answer.type() == QDBusMessage::ReplyMessage)
        setOwner(answer.arguments().value(0).toString());
    if (!isThere())
        Q_EMIT didProveAbsent();
}

// This answers earlier questions.
void VXBusService::ownerDidChange(const QString &owner)
{
    _isKnown = true;
    setOwner(owner);
}

void VXBusService::setOwner(const QString &owner)
{
    const QString next = owner.isEmpty() ? QString() : owner;
    if (next == _owner)
        return;
    const Ptr self = weak_from_this().lock(); // those who are told may release it
    if (!self)
        return; // it is about to be deleted
    ++_generation;
    if (isThere()) {
        for (const QString &interface : std::as_const(_routes))
            connectRoute(interface, false);
        _owner = QString();
        Q_EMIT didVanish();
    }
    if (next.isNull() || isThere())
        return;
    _owner = next;
    _isStarting = false;
    for (const QString &interface : std::as_const(_routes))
        connectRoute(interface, true);
    Q_EMIT didAppear();
}

void VXBusService::busDidClose()
{
    const Ptr self = weak_from_this().lock();
    if (!self)
        return;
    _watcher.reset();
    setOwner({});
    if (!std::exchange(_isKnown, false)) // another bus may know it
        Q_EMIT didProveAbsent();
    if (std::exchange(_isStarting, false))
        Q_EMIT didFailToStart(problem());
}

void VXBusService::activate()
{
    if (isThere() || std::exchange(_isStarting, true))
        return;
    if (_link->isOpen())
        callBus(u"StartServiceByName"_s, {_name, quint32(0)}, &VXBusService::concludeStart);
    else
        _link->open();
}

void VXBusService::concludeStart(const QDBusMessage &answer)
{
    if (answer.type() != QDBusMessage::ErrorMessage || !std::exchange(_isStarting, false))
        return; // it will appear, or already has
    _isInstalled = !answer.errorName().endsWith(".ServiceUnknown"_L1);
    const QString why = answer.errorMessage();
    const QString end = why.endsWith(u'.') ? QString() : u"."_s; // the remedy follows it
    Q_EMIT didFailToStart(VXBusText(u"The service %1 could not be started: %2"_s).arg(_name, why + end));
}

QString VXBusService::remedyOfStart(const QString &install) const
{
    return _isInstalled ? VXBusText(u"It is installed, but ended at once: \"journalctl\" may tell why."_s) : install;
}

// -- Calls

QDBusMessage VXBusService::message(const VXBusCall &call) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(_owner, call.path, call.interface, call.method);
    message.setArguments(call.arguments);
    message.setAutoStartService(false);
    return message;
}

void VXBusService::call(const VXBusCall &call, std::chrono::milliseconds limit, QObject *context, const Answer &answer)
{
    if (isThere())
        return await(_link->connection().asyncCall(message(call), int(limit.count())), call.signature, context, answer);
    const QDBusMessage error =
        QDBusMessage::createError(u"org.freedesktop.DBus.Error.ServiceUnknown"_s, this->problem());
    QTimer::singleShot(0, context, [answer, error] { callWithGuard(answer, error); });
}

void VXBusService::send(const VXBusCall &call)
{
    if (isThere())
        _link->connection().send(message(call));
}

// -- Signals

// One subscription for each interface, however many listeners and objects there are.
bool VXBusService::connectRoute(const QString &interface, bool isOn)
{
    QDBusConnection connection = _link->connection();
    return isOn ? connection.connect(_owner, {}, interface, {}, this, SLOT(receive(QDBusMessage)))
                : connection.disconnect(_owner, {}, interface, {}, this, SLOT(receive(QDBusMessage)));
}

quint64 VXBusService::listen(const QString &path, const QString &interface, const QString &member, QObject *context,
                             const Heard &heard)
{
    _listeners.push_back({++_lastNumber, path, interface, member, context, heard});
    // What the function keeps alive, for example files of a phone, is freed with its context.
    connect(context, &QObject::destroyed, this, &VXBusService::dropListeners, Qt::UniqueConnection);
    if (!_routes.contains(interface)) {
        _routes.append(interface);
        if (isThere())
            connectRoute(interface, true);
    }
    return _lastNumber;
}

void VXBusService::stopListening(quint64 number)
{
    std::erase_if(_listeners, [number](const Listener &listener) { return listener.number == number; });
}

void VXBusService::dropListeners()
{
    std::erase_if(_listeners, [](const Listener &listener) { return listener.context.isNull(); });
}

void VXBusService::receive(const QDBusMessage &signal)
{
    VXBusInbox::shared().add([service = weak_from_this(), signal] {
        if (const Ptr self = service.lock()) // otherwise everybody has released it
            self->route(signal);
    });
}

void VXBusService::route(const QDBusMessage &signal)
{
    if (signal.service() != _owner)
        return; // it was under way when its sender lost the name
    const QString path = signal.path();
    const QString interface = signal.interface();
    const QString member = signal.member();
    std::vector<quint64> meant; // a listener may add and remove listeners
    for (const Listener &listener : _listeners) {
        if (listener.interface == interface && (listener.path.isNull() || listener.path == path) &&
            (listener.member.isNull() || listener.member == member))
            meant.push_back(listener.number);
    }
    for (const quint64 number : meant) {
        const auto listener = std::ranges::find(_listeners, number, &Listener::number);
        if (listener == _listeners.end() || listener->context.isNull())
            continue;
        const Heard heard = listener->heard;
        VXGuard([] { return u"who listened to a signal on the bus"_s; }, [&] { heard(signal); });
    }
}
