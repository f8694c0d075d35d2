#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtDBus/QDBusArgument>

#include <optional>

/** An address in the form the daemon takes and gives: (s). */
struct VXConnectAddress
{
    QString address;
};
Q_DECLARE_METATYPE(VXConnectAddress)

/** A file of a message: (xsss). */
struct VXConnectAttachment
{
    qint64 part = 0;
    QString type, preview, identifier;
};
Q_DECLARE_METATYPE(VXConnectAttachment)

/** A message in the form the daemon sends it: (isa(s)xiixixa(xsss)). */
struct VXConnectMessage
{
    enum Type { Inbox = 1, Sent = 2, Draft = 3, Outbox = 4, Failed = 5, Queued = 6 };

    int event = 0;
    QString body;
    QList<VXConnectAddress> addresses;
    qint64 date = 0; // milliseconds since 1970, by the phone's clock
    int type = 0;
    int read = 0;
    qint64 thread = 0;
    int identifier = 0; // in its thread
    qint64 card = 0;
    QList<VXConnectAttachment> attachments = {};

    /** Reads a signal's argument; none if it is something else. */
    static std::optional<VXConnectMessage> fromArgument(const QVariant &argument);
    /** Registers the types above so that they can be sent over the bus. */
    static void registerTypes();

    using Key = std::pair<qint64, int>;
    Key key() const { return {thread, identifier}; }
    bool isIncoming() const { return type == Inbox; }
    /** The other party. If there are several, the first is the one who wrote the message. */
    QString number() const { return addresses.isEmpty() ? QString() : addresses.first().address; }

    /** The message as lists of phones and events have it; `deviceURL` is the phone's. */
    QVariantMap record(const QString &deviceURL) const;
};
Q_DECLARE_METATYPE(VXConnectMessage)

QDBusArgument &operator<<(QDBusArgument &argument, const VXConnectAddress &address);
const QDBusArgument &operator>>(const QDBusArgument &argument, VXConnectAddress &address);
QDBusArgument &operator<<(QDBusArgument &argument, const VXConnectAttachment &attachment);
const QDBusArgument &operator>>(const QDBusArgument &argument, VXConnectAttachment &attachment);
QDBusArgument &operator<<(QDBusArgument &argument, const VXConnectMessage &message);
const QDBusArgument &operator>>(const QDBusArgument &argument, VXConnectMessage &message);
