#pragma once

#include <QtCore/QString>

/** Names that BlueZ, obexd and oFono use on the bus, and the profiles that phones offer. */
namespace VXBluetoothNames {

inline const QString bluez = QStringLiteral("org.bluez");
inline const QString adapter = QStringLiteral("org.bluez.Adapter1");
inline const QString device = QStringLiteral("org.bluez.Device1");

inline const QString obex = QStringLiteral("org.bluez.obex");
inline const QString obexPath = QStringLiteral("/org/bluez/obex");
inline const QString client = QStringLiteral("org.bluez.obex.Client1");
inline const QString transfer = QStringLiteral("org.bluez.obex.Transfer1");
inline const QString phonebook = QStringLiteral("org.bluez.obex.PhonebookAccess1");
inline const QString messages = QStringLiteral("org.bluez.obex.MessageAccess1");
inline const QString message = QStringLiteral("org.bluez.obex.Message1");

// By the first part of their UUIDs.
inline const QString contactsProfile = QStringLiteral("0000112f"); // phone book access, server
inline const QString messagesProfile = QStringLiteral("00001132"); // message access, server
inline const QString callsProfile = QStringLiteral("0000111f");    // hands-free, audio gateway

} // namespace VXBluetoothNames
