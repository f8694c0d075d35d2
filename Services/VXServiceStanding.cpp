#include "VXServiceStanding.h"

#include "VXBusAnswers.h"
#include "VXSessionBus.h"

#include <QtCore/QFile>
#include <QtCore/QUuid>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr int answerLimit = 1000; // milliseconds, for each of two questions

QString problemOfSystemBus()
{
    const QByteArray address = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
    return VXBusAnswers(address.isEmpty() ? "unix:path=/run/dbus/system_bus_socket"_ba : address)
               ? QString()
               : u"the D-Bus system bus does not answer"_s;
}

/** A connection of its own to a bus, which knows which services there are. */
class Bus
{
public:
    explicit Bus(bool isSystemBus)
        : _name(QUuid::createUuid().toString()), _problem(isSystemBus ? problemOfSystemBus() : VXProblemOfSessionBus())
    {
        if (!_problem.isNull())
            return;
        if (!isSystemBus && !hasSessionBus()) { // or the library would start one
            _problem = u"there is no D-Bus session bus"_s;
            return;
        }
        _connection.emplace(QDBusConnection::connectToBus(
            isSystemBus ? QDBusConnection::SystemBus : QDBusConnection::SessionBus, _name));
        if (_connection->isConnected())
            readNames();
        else
            _problem = _connection->lastError().message();
    }
    ~Bus()
    {
        _connection.reset();
        QDBusConnection::disconnectFromBus(_name);
    }
    Bus(const Bus &) = delete;
    Bus &operator=(const Bus &) = delete;

    VXServiceStanding standingOf(const QString &service) const
    {
        using State = VXServiceStanding::State;
        if (!_problem.isNull())
            return {.state = State::NoBus, .problem = _problem};
        if (_running.contains(service))
            return {.state = State::Running};
        return {.state = _startable.contains(service) ? State::Startable : State::Missing};
    }

private:
    static bool hasSessionBus()
    {
        return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") ||
               QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + "/bus"_L1);
    }

    QDBusMessage ask(const QString &method, const QVariantList &arguments = {}) const
    {
        QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                           u"org.freedesktop.DBus"_s, method);
        call.setArguments(arguments);
        return _connection->call(call, QDBus::Block, answerLimit);
    }

    void readNames()
    {
        const QDBusMessage running = ask(u"ListNames"_s);
        const QDBusMessage startable = ask(u"ListActivatableNames"_s);
        for (const QDBusMessage &answer : {running, startable}) {
            if (answer.type() == QDBusMessage::ErrorMessage)
                _problem = answer.errorMessage();
        }
        _running = running.arguments().value(0).toStringList();
        _startable = startable.arguments().value(0).toStringList();
    }

    const QString _name;
    QString _problem;
    std::optional<QDBusConnection> _connection;
    QStringList _running;
    QStringList _startable;
};

} // namespace

QList<VXServiceStanding> VXStandingOfServices(const QList<VXServiceName> &services)
{
    std::optional<Bus> system;
    std::optional<Bus> session;
    QList<VXServiceStanding> standings;
    for (const VXServiceName &service : services) {
        std::optional<Bus> &bus = service.isOnSystemBus ? system : session;
        if (!bus)
            bus.emplace(service.isOnSystemBus);
        standings.append(bus->standingOf(service.name));
    }
    return standings;
}
