#include "VXScriptingService.h"

#include "VXScriptingAdaptors.h"
#include "VXScriptingCalls.h"

#include <QtCore/QObject>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusError>
#include <QtDBus/QDBusMetaType>

using namespace Qt::StringLiterals;

/** A connection of its own, with the object that the adaptors serve. */
class VXScriptingService::Server
{
public:
    Server() : _connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)), _calls(_connection)
    {
        qDBusRegisterMetaType<QList<QVariantMap>>();
        new VXApplicationAdaptor(_calls, &_application);
        new VXPhonebookAdaptor(_calls, &_application);
        new VXDevicesAdaptor(_calls, &_application);
        new VXEventsAdaptor(_calls, &_application);
    }
    ~Server()
    {
        _connection.unregisterService(busName());
        _connection.unregisterObject(objectPath(), QDBusConnection::UnregisterTree);
        QDBusConnection::disconnectFromBus(name);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // The object first: who finds the name may call at once.
    bool start(QString *problem)
    {
        if (!_connection.isConnected()) {
            *problem = u"there is no D-Bus session bus (%1)"_s.arg(_connection.lastError().message());
            return false;
        }
        if (_connection.registerObject(objectPath(), &_application, QDBusConnection::ExportAdaptors) &&
            _connection.registerService(busName()))
            return true;
        *problem = u"another process is %1 on the session bus already"_s.arg(busName());
        return false;
    }

private:
    static inline const QString name = u"vornix-scripting-service"_s;

    QDBusConnection _connection;
    VXScriptingCalls _calls;
    QObject _application; // its children are the adaptors, and the actions that run
};

QString VXScriptingService::busName()
{
    return u"com.halvern.VNX2"_s;
}

QString VXScriptingService::objectPath()
{
    return u"/com/halvern/VNX2"_s;
}

VXScriptingService::VXScriptingService(std::unique_ptr<Server> server) : _server(std::move(server)) {}

VXScriptingService::~VXScriptingService() = default;

std::unique_ptr<VXScriptingService> VXScriptingService::start(QString *problem)
{
    auto server = std::make_unique<Server>();
    if (!server->start(problem))
        return nullptr;
    return std::unique_ptr<VXScriptingService>(new VXScriptingService(std::move(server)));
}
