#include "VXSearchService.h"

#include "VXScriptingCalls.h"
#include "VXSearchAdaptors.h"
#include "VXSessionBus.h"

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusError>
#include <QtDBus/QDBusMetaType>

using namespace Qt::StringLiterals;

/** A connection of its own, with the object that desktops ask. */
class VXSearchService::Server
{
public:
    Server(std::function<void(const QString &url)> open, std::chrono::milliseconds idleTime)
        : _connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)), _calls(_connection),
          _answers(std::move(open), idleTime)
    {
        qDBusRegisterMetaType<VXRunnerMatch>();
        qDBusRegisterMetaType<QList<VXRunnerMatch>>();
        qDBusRegisterMetaType<VXRunnerAction>();
        qDBusRegisterMetaType<QList<VXRunnerAction>>();
        qDBusRegisterMetaType<QList<QVariantMap>>();
        new VXShellSearchAdaptor(_answers, _calls, &_object);
        new VXRunnerAdaptor(_answers, _calls, &_object);
    }
    ~Server()
    {
        _connection.unregisterObject(objectPath());
        QDBusConnection::disconnectFromBus(name);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    QDBusConnection &connection() { return _connection; }
    VXSearchAnswers &answers() { return _answers; }

    /** @return what keeps desktops from asking; null for nothing. */
    QString serve()
    {
        if (!_connection.isConnected())
            return u"there is no D-Bus session bus (%1)"_s.arg(_connection.lastError().message());
        _connection.registerObject(objectPath(), &_object, QDBusConnection::ExportAdaptors);
        if (!_connection.registerService(busName()))
            return u"another process is %1 on the session bus already"_s.arg(busName());
        return {};
    }
    /** From now on the bus starts another process for who asks. */
    void giveNameBack() { _connection.unregisterService(busName()); }

private:
    static inline const QString name = u"vornix-search-service"_s;

    QDBusConnection _connection;
    VXScriptingCalls _calls;
    VXSearchAnswers _answers;
    QObject _object; // its children are the adaptors
};

VXSearchService::VXSearchService(std::function<void(const QString &url)> open, std::chrono::milliseconds idleTime)
    : _problem(VXProblemOfSessionBus())
{
    if (!_problem.isNull())
        return;
    _server = std::make_unique<Server>(std::move(open), idleTime);
    _server->answers().setDidDiscard([this] { Q_EMIT indexWasDiscarded(); });
    _server->answers().setWillAsk([this] { Q_EMIT willAsk(); });
    _problem = _server->serve();
    if (!_problem.isNull())
        return;
    connect(&_server->answers().idleTimer(), &QTimer::timeout, this, &VXSearchService::end);
    _server->connection().connect({}, u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                                  u"Disconnected"_s, this, SLOT(end()));
}

VXSearchService::~VXSearchService() = default;

QString VXSearchService::busName()
{
    return u"com.halvern.VNX2.Search"_s;
}

QString VXSearchService::objectPath()
{
    return u"/com/halvern/VNX2/Search"_s;
}

// Calls that came before the name was given back are answered by the event loop first.
void VXSearchService::end()
{
    _server->giveNameBack();
    QMetaObject::invokeMethod(this, &VXSearchService::idle, Qt::QueuedConnection);
}
