#pragma once

#include <QtCore/QString>

/** Interfaces that services of all kinds have. */
namespace VXBusNames {

inline const QString objectManager = QStringLiteral("org.freedesktop.DBus.ObjectManager");
inline const QString properties = QStringLiteral("org.freedesktop.DBus.Properties");

} // namespace VXBusNames
