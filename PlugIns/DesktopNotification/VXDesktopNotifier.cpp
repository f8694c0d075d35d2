#include "VXDesktopNotifier.h"

#include <QtCore/QStringList>
#include <QtCore/QVariantMap>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusError>
#include <QtDBus/QDBusMessage>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

constexpr int longestCall = 5000; // milliseconds

// A connection for one notification, because the bus may come and go while the application runs.
class SessionBus
{
public:
    SessionBus() : _name(nextName()), _connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, _name)) {}
    ~SessionBus() { QDBusConnection::disconnectFromBus(_name); }
    SessionBus(const SessionBus &) = delete;
    SessionBus &operator=(const SessionBus &) = delete;

    bool isConnected(QString *reason) const
    {
        if (!_connection.isConnected())
            *reason = _connection.lastError().message();
        return _connection.isConnected();
    }

    QDBusMessage call(const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage message =
            QDBusMessage::createMethodCall(u"org.freedesktop.Notifications"_s, u"/org/freedesktop/Notifications"_s,
                                           u"org.freedesktop.Notifications"_s, method);
        message.setArguments(arguments);
        return _connection.call(message, QDBus::Block, longestCall);
    }

private:
    static QString nextName()
    {
        static std::atomic<unsigned> number = 0;
        return u"vornix-notification-%1"_s.arg(++number);
    }

    const QString _name;
    QDBusConnection _connection;
};

} // namespace

bool VXDesktopNotifier::notify(const QString &title, const QString &text, QString *reason)
{
    SessionBus bus;
    if (!bus.isConnected(reason))
        return false;
    // A service that understands markup would interpret parts of other people's text as markup.
    const QStringList capabilities = bus.call(u"GetCapabilities"_s).arguments().value(0).toStringList();
    const QString body = capabilities.contains(u"body-markup"_s) ? text.toHtmlEscaped() : text;
    constexpr quint32 replacesNone = 0;
    constexpr qint32 expiresAsUsual = -1;
    const QDBusMessage reply = bus.call(
        u"Notify"_s, {u"Vornix"_s, replacesNone, u""_s, title, body, QStringList(), QVariantMap(), expiresAsUsual});
    if (reply.type() != QDBusMessage::ErrorMessage)
        return true;
    *reason = reply.errorMessage();
    return false;
}
