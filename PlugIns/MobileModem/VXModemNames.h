#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusObjectPath>

/** ModemManager's names on the bus. */
namespace VXModemNames {

inline const QString service = QStringLiteral("org.freedesktop.ModemManager1");
inline const QString root = QStringLiteral("/org/freedesktop/ModemManager1");
inline const QString modem = QStringLiteral("org.freedesktop.ModemManager1.Modem");
inline const QString messaging = QStringLiteral("org.freedesktop.ModemManager1.Modem.Messaging");
inline const QString voice = QStringLiteral("org.freedesktop.ModemManager1.Modem.Voice");
inline const QString sms = QStringLiteral("org.freedesktop.ModemManager1.Sms");
inline const QString call = QStringLiteral("org.freedesktop.ModemManager1.Call");

using Interfaces = QMap<QString, QVariantMap>;
using Objects = QMap<QDBusObjectPath, Interfaces>;

/** States of a modem. */
enum ModemState { Failed = -1, Unknown, Initializing, Locked, Disabled, Disabling, Enabling, Enabled };
enum FailedReason { NoReason, UnknownReason, CardMissing, CardError };
/** Types of a port. */
enum PortType { UnknownPort = 1, NetPort };
/** States of a message, and its kinds. */
enum MessageState { MessageUnknown, Stored, Receiving, Received, Sending, Sent };
enum MessageKind { KindUnknown, Deliver, Submit, StatusReport, CDMADeliver = 32, CDMASubmit = 33 };
/** States of a call. */
enum CallState { CallUnknown, Dialing, RingingOut, RingingIn, Active, Held, Waiting, Terminated };

} // namespace VXModemNames
