#pragma once

#include <QtCore/QMap>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtDBus/QDBusArgument>

/**
 * The content of a message as a value of the type with that signature; an empty value if it holds another type. Answers
 * of calls are checked by VXBusCall. This is for signals, and for wrapped values, which the bus library does not check.
 */
template <class Value>
[[nodiscard]] Value VXBusValue(const QVariant &value, QLatin1StringView signature)
{
    if (value.metaType() != QMetaType::fromType<QDBusArgument>())
        return {};
    const auto argument = value.value<QDBusArgument>();
    return argument.currentSignature() == signature ? qdbus_cast<Value>(argument) : Value();
}

[[nodiscard]] inline QVariantMap VXBusMap(const QVariant &value)
{
    return VXBusValue<QVariantMap>(value, QLatin1StringView("a{sv}"));
}

/** The properties of an object, by interface. */
[[nodiscard]] inline QMap<QString, QVariantMap> VXBusInterfaces(const QVariant &value)
{
    return VXBusValue<QMap<QString, QVariantMap>>(value, QLatin1StringView("a{sa{sv}}"));
}

/** The library unpacks these by itself. */
[[nodiscard]] inline QStringList VXBusTexts(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<QStringList>() ? value.toStringList() : QStringList();
}
