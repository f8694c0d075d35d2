#pragma once

#include <QtCore/QMap>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtDBus/QDBusArgument>

/**
 * What a message holds, as a value of the type whose signature that is; an empty one when it holds another. Answers of calls are
 * checked by VXBusCall: this is for signals, and for what is wrapped, of which the bus library believes anything.
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

/** The library takes these apart by itself. */
[[nodiscard]] inline QStringList VXBusTexts(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<QStringList>() ? value.toStringList() : QStringList();
}
