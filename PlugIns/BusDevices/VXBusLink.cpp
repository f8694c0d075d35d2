#include "VXBusLink.h"

#include "VXBusAnswers.h"
#include "VXBusInbox.h"
#include "VXBusText.h"
#include "VXMainThread.h"

#include <QtCore/QHash>
#include <QtCore/QThreadPool>
#include <QtDBus/QDBusError>

#include <algorithm>
#include <atomic>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds firstDelay{2}; // doubled after each failure
constexpr std::chrono::seconds longestDelay{300};

// According to the present environment.
QString addressOfBus(const QString &bus)
{
    if (bus != "session"_L1 && bus != "system"_L1)
        return bus;
    const bool isSystem = bus == "system"_L1;
    const QByteArray told = qgetenv(isSystem ? "DBUS_SYSTEM_BUS_ADDRESS" : "DBUS_SESSION_BUS_ADDRESS");
    if (!told.isEmpty())
        return QString::fromLocal8Bit(told);
    if (isSystem)
        return u"unix:path=/var/run/dbus/system_bus_socket"_s;
    const QByteArray folder = qgetenv("XDG_RUNTIME_DIR");
    return folder.isEmpty() ? QString() : "unix:path="_L1 + QString::fromLocal8Bit(folder) + "/bus"_L1;
}

// Why there is no such connection; null if there is one. Not on the main thread.
QString connectToBus(const QString &address, const QString &name)
{
    if (address.isEmpty())
        return VXBusText(u"There is no D-Bus session."_s);
    if (!VXBusAnswers(address.toLocal8Bit()))
        return VXBusText(u"The D-Bus message bus does not answer."_s);
    const QDBusConnection connection = QDBusConnection::connectToBus(address, name);
    return connection.isConnected()
               ? QString()
               : VXBusText(u"The D-Bus message bus cannot be reached: %1"_s).arg(connection.lastError().message());
}

QHash<QString, std::weak_ptr<VXBusLink>> &links()
{
    static auto *const links = new QHash<QString, std::weak_ptr<VXBusLink>>; // used on the main thread only
    return *links;
}

} // namespace

VXBusLink::Ptr VXBusLink::toBus(const QString &bus)
{
    // When the environment's session bus has changed, "session" means another bus.
    const QString address = addressOfBus(bus);
    Ptr link = links().value(address).lock();
    if (!link) {
        link = Ptr(new VXBusLink(bus), [](VXBusLink *unused) { unused->deleteLater(); });
        links().insert(address, link);
        link->open();
    }
    return link;
}

VXBusLink::VXBusLink(const QString &bus) : _bus(bus), _delay(firstDelay)
{
    _retry.setSingleShot(true);
    connect(&_retry, &QTimer::timeout, this, &VXBusLink::open);
}

VXBusLink::~VXBusLink()
{
    if (_isOpen)
        QDBusConnection::disconnectFromBus(_name);
}

void VXBusLink::open()
{
    if (_isOpen || std::exchange(_isOpening, true))
        return;
    _retry.stop();
    static std::atomic<unsigned> number = 0;
    const QString name = u"vornix-link-%1-%2"_s.arg(quintptr(&number)).arg(++number); // each plugin has its own count
    QThreadPool::globalInstance()->start([self = weak_from_this(), address = addressOfBus(_bus), name] {
        const QString problem = connectToBus(address, name);
        const bool isTaken = VXMainThread::perform([self, name, problem] {
            if (const Ptr link = self.lock())
                link->concludeOpening(name, problem);
            else
                QDBusConnection::disconnectFromBus(name);
        });
        if (!isTaken)
            QDBusConnection::disconnectFromBus(name);
    });
}

void VXBusLink::concludeOpening(const QString &name, const QString &problem)
{
    _isOpening = false;
    _name = name;
    if (!problem.isNull())
        return close(problem);
    _isOpen = true;
    _delay = firstDelay;
    _problem = QString();
    connection().connect({}, u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s, u"Disconnected"_s, this,
                         SLOT(busWasLost()));
    Q_EMIT didOpen();
}

void VXBusLink::busWasLost()
{
    VXBusInbox::shared().add([link = weak_from_this()] { // after everything that arrived before it closed
        if (const Ptr self = link.lock(); self && self->_isOpen)
            self->close(VXBusText(u"The D-Bus message bus has ended."_s));
    });
}

void VXBusLink::close(const QString &problem)
{
    _isOpen = false;
    QDBusConnection::disconnectFromBus(_name);
    _problem = problem;
    _retry.start(_delay);
    _delay = std::min<std::chrono::milliseconds>(2 * _delay, longestDelay);
    Q_EMIT didClose();
}
