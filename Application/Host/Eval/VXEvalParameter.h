#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <algorithm>
#include <concepts>
#include <limits>
#include <optional>
#include <utility>

/**
 * How a JSON value becomes a parameter of a call: `kind` names the expected kind, for messages, and `read` stores the
 * value, or returns false if it is of another kind. There is a specialisation for each C++ type that calls may take.
 */
template <class T>
struct VXEvalParameter;

template <>
struct VXEvalParameter<bool>
{
    static QString kind() { return QStringLiteral("true or false"); }
    static bool read(const QJsonValue &value, bool &parameter)
    {
        parameter = value.toBool();
        return value.isBool();
    }
};

/** Whole numbers, within the bounds of the type. */
template <std::integral Integer>
struct VXEvalParameter<Integer>
{
    using limits = std::numeric_limits<Integer>;

    static QString kind()
    {
        return QStringLiteral("a whole number from %1 to %2").arg(limits::min()).arg(limits::max());
    }
    static bool read(const QJsonValue &value, Integer &parameter)
    {
        // For a number that is not whole, its fallback is returned.
        const qint64 number = value.toInteger(0);
        if (!value.isDouble() || number != value.toInteger(1) || !std::in_range<Integer>(number))
            return false;
        parameter = static_cast<Integer>(number);
        return true;
    }
};

template <>
struct VXEvalParameter<double>
{
    static QString kind() { return QStringLiteral("a number"); }
    static bool read(const QJsonValue &value, double &parameter)
    {
        parameter = value.toDouble();
        return value.isDouble();
    }
};

template <>
struct VXEvalParameter<QString>
{
    static QString kind() { return QStringLiteral("a string"); }
    static bool read(const QJsonValue &value, QString &parameter)
    {
        parameter = value.toString();
        return value.isString();
    }
};

template <>
struct VXEvalParameter<QVariantList>
{
    static QString kind() { return QStringLiteral("an array"); }
    static bool read(const QJsonValue &value, QVariantList &parameter)
    {
        parameter = value.toArray().toVariantList();
        return value.isArray();
    }
};

template <>
struct VXEvalParameter<QStringList>
{
    static QString kind() { return QStringLiteral("an array of strings"); }
    static bool read(const QJsonValue &value, QStringList &parameter)
    {
        const QJsonArray array = value.toArray();
        for (const auto element : array)
            parameter.append(element.toString());
        return value.isArray() &&
               std::ranges::all_of(array, [](const QJsonValue &element) { return element.isString(); });
    }
};

template <>
struct VXEvalParameter<QVariantMap>
{
    static QString kind() { return QStringLiteral("an object"); }
    static bool read(const QJsonValue &value, QVariantMap &parameter)
    {
        parameter = value.toObject().toVariantMap();
        return value.isObject();
    }
};

/** Any value, including null. */
template <>
struct VXEvalParameter<QVariant>
{
    static QString kind() { return QStringLiteral("any value"); }
    static bool read(const QJsonValue &value, QVariant &parameter)
    {
        parameter = value.toVariant();
        return true;
    }
};

/** The same, or null; it may be omitted at the end of the arguments. */
template <class T>
struct VXEvalParameter<std::optional<T>>
{
    static QString kind() { return VXEvalParameter<T>::kind() + QStringLiteral(" or null"); }
    static bool read(const QJsonValue &value, std::optional<T> &parameter)
    {
        if (value.isNull())
            return true;
        return VXEvalParameter<T>::read(value, parameter.emplace());
    }
};

template <class T>
inline constexpr bool VXIsOptionalParameter = false;
template <class T>
inline constexpr bool VXIsOptionalParameter<std::optional<T>> = true;
