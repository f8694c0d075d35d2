#include "VXScriptingService.h"

#include "VXMethodLog.h"
#include "VXScriptingAdaptors.h"
#include "VXScriptingCalls.h"
#include "VXSessionBus.h"

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusError>
#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusReply>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto retryInterval = 2s;
constexpr auto longRetryInterval = 30s; // for a bus that lets who asks wait

} // namespace

/** A connection of its own, with the object that the adaptors serve. */
class VXScriptingService::Server
{
public:
    Server() : _connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)), _calls(_connection)
    {
        qDBusRegisterMetaType<QList<QVariantMap>>();
        qRegisterMetaType<QDBusVariant>(); // what methods answer is looked up by name
        qRegisterMetaType<QDBusObjectPath>();
        new VXApplicationAdaptor(_calls, &_application);
        new VXPhonebookAdaptor(_calls, &_application);
        new VXDevicesAdaptor(_calls, &_application);
        new VXEventsAdaptor(_calls, &_application);
    }
    // The name goes with the connection; to give it back before would be to wait for a bus that may not answer any more.
    ~Server()
    {
        _connection.unregisterObject(objectPath(), QDBusConnection::UnregisterTree);
        QDBusConnection::disconnectFromBus(name);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    QDBusConnection &connection() { return _connection; }

    /** The object first: who finds the name may call at once. @return what keeps scripts from it; null for nothing. */
    QString serve()
    {
        _connection.registerObject(objectPath(), &_application, QDBusConnection::ExportAdaptors);
        const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
            _connection.interface()->registerService(busName(), QDBusConnectionInterface::QueueService,
                                                     QDBusConnectionInterface::DontAllowReplacement);
        if (!reply.isValid())
            return reply.error().message();
        return reply.value() == QDBusConnectionInterface::ServiceRegistered
                   ? QString()
                   : u"another process is %1 on the session bus already"_s.arg(busName());
    }

private:
    static inline const QString name = u"vornix-scripting-service"_s;

    QDBusConnection _connection;
    VXScriptingCalls _calls;
    QObject _application; // its children are the adaptors, and the actions that run
};

VXScriptingService::VXScriptingService()
{
    _retry.setSingleShot(true);
    connect(&_retry, &QTimer::timeout, this, &VXScriptingService::connectToBus);
    connectToBus();
}

VXScriptingService::~VXScriptingService() = default;

QString VXScriptingService::busName()
{
    return u"com.halvern.VNX2"_s;
}

QString VXScriptingService::objectPath()
{
    return u"/com/halvern/VNX2"_s;
}

void VXScriptingService::connectToBus()
{
    const bool wasLost = !_problem.isNull();
    _server.reset(); // the name of its connection is free then
    if (const QString problem = VXProblemOfSessionBus(); !problem.isNull()) {
        _problem = problem;
        _retry.start(longRetryInterval);
        return;
    }
    auto server = std::make_unique<Server>();
    QDBusConnection &connection = server->connection();
    if (!connection.isConnected()) {
        _problem = u"there is no D-Bus session bus (%1)"_s.arg(connection.lastError().message());
        if (wasLost || !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            _retry.start(retryInterval);
        return;
    }
    connection.connect({}, u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s, u"Disconnected"_s, this,
                       SLOT(busWasLost()));
    connect(connection.interface(), &QDBusConnectionInterface::serviceRegistered, this,
            &VXScriptingService::nameWasAcquired);
    _problem = server->serve();
    _server = std::move(server);
    if (wasLost && _problem.isNull())
        tellThatItServes();
}

// The server stays for now, for this is a call of its connection. Actions that scripts began go on; who waited for them is gone.
void VXScriptingService::busWasLost()
{
    if (_server && _server->connection().isConnected())
        return;
    _problem = u"the D-Bus session bus ended"_s;
    VXLogMethod(VXLogWarning, "busWasLost", "Scripts cannot reach this program: "_L1 + _problem);
    _retry.start(retryInterval);
}

// From a process that had it before.
void VXScriptingService::nameWasAcquired(const QString &name)
{
    if (name != busName() || _problem.isNull())
        return;
    _problem = QString();
    tellThatItServes();
}

void VXScriptingService::tellThatItServes() const
{
    VXLogMethod(VXLogNotice, "tellThatItServes", u"Scripts can reach this program now."_s);
}
