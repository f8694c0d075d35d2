#pragma once

#include <QtCore/QString>

/** The names of KDE Connect's daemon on the bus. */
namespace VXConnectNames {

inline const QString service = QStringLiteral("org.kde.kdeconnect");
inline const QString root = QStringLiteral("/modules/kdeconnect");
inline const QString daemon = QStringLiteral("org.kde.kdeconnect.daemon");
inline const QString device = QStringLiteral("org.kde.kdeconnect.device");
inline const QString conversations = QStringLiteral("org.kde.kdeconnect.device.conversations");
inline const QString sms = QStringLiteral("org.kde.kdeconnect.device.sms");
inline const QString contacts = QStringLiteral("org.kde.kdeconnect.device.contacts");
inline const QString telephony = QStringLiteral("org.kde.kdeconnect.device.telephony");
inline const QString share = QStringLiteral("org.kde.kdeconnect.device.share");
inline const QString battery = QStringLiteral("org.kde.kdeconnect.device.battery");

/** The object path of a device, or of one of its parts, such as "sms". */
inline QString path(const QString &deviceID, const QString &part = {})
{
    return root + QStringLiteral("/devices/") + deviceID + (part.isEmpty() ? QString() : u'/' + part);
}

} // namespace VXConnectNames
