#include "VXJSON.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonParseError>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr auto dataKey = "$data"_L1;
constexpr auto dateKey = "$date"_L1;
constexpr auto realKey = "$real"_L1;

QString dateText(const QDateTime &date)
{
    const QDateTime utc = date.toUTC();
    return utc.toString(utc.time().msec() == 0 ? Qt::ISODate : Qt::ISODateWithMs);
}

QJsonValue jsonFromReal(double number)
{
    if (std::isfinite(number))
        return number;
    const QString text = std::isnan(number) ? u"nan"_s : number > 0 ? u"inf"_s : u"-inf"_s;
    return QJsonObject{{realKey, text}};
}

// The value for an object with one key that begins with "$"; none for an ordinary object.
std::optional<QVariant> specialValue(const QJsonObject &object)
{
    if (object.size() != 1 || !object.begin().value().isString())
        return {};
    const QString key = object.begin().key();
    const QString text = object.begin().value().toString();
    if (key == dataKey) {
        const auto decoded = QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        return decoded ? std::optional<QVariant>(*decoded) : std::nullopt;
    }
    if (key == dateKey) {
        const QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
        return date.isValid() ? std::optional<QVariant>(date.toUTC()) : std::nullopt;
    }
    if (key == realKey) {
        using limits = std::numeric_limits<double>;
        if (text == "nan"_L1)
            return limits::quiet_NaN();
        if (text == "inf"_L1 || text == "-inf"_L1)
            return text.startsWith(u'-') ? -limits::infinity() : limits::infinity();
    }
    return {};
}

} // namespace

QJsonValue VXJSONFromVariant(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return value.toString().isNull() ? QJsonValue() : QJsonValue(value.toString());
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto entry = map.begin(); entry != map.end(); ++entry)
            object.insert(entry.key(), VXJSONFromVariant(*entry));
        return object;
    }
    case QMetaType::QVariantList: {
        QJsonArray array;
        for (const QVariant &item : value.toList())
            array.append(VXJSONFromVariant(item));
        return array;
    }
    case QMetaType::QByteArray:
        return QJsonObject{{dataKey, QString::fromLatin1(value.toByteArray().toBase64())}};
    case QMetaType::QDateTime:
        return QJsonObject{{dateKey, dateText(value.toDateTime())}};
    case QMetaType::Double:
        return jsonFromReal(value.toDouble());
    default:
        return QJsonValue::fromVariant(value);
    }
}

QVariant VXVariantFromJSON(const QJsonValue &value)
{
    if (value.isArray()) {
        QVariantList list;
        for (const QJsonValue item : value.toArray())
            list.append(VXVariantFromJSON(item));
        return list;
    }
    if (!value.isObject())
        return value.toVariant();
    const QJsonObject object = value.toObject();
    if (auto special = specialValue(object))
        return *special;
    QVariantMap map;
    for (auto entry = object.begin(); entry != object.end(); ++entry)
        map.insert(entry.key(), VXVariantFromJSON(entry.value()));
    return map;
}

QByteArray VXJSONText(const QJsonValue &value, QJsonDocument::JsonFormat format)
{
    // Qt writes an empty one on two lines.
    if (value.isObject() && value.toObject().isEmpty())
        return "{}";
    if (value.isArray() && value.toArray().isEmpty())
        return "[]";
    if (value.isObject())
        return QJsonDocument(value.toObject()).toJson(format).trimmed();
    if (value.isArray())
        return QJsonDocument(value.toArray()).toJson(format).trimmed();
    // Qt's documents are objects or arrays: a scalar is written as the only element of an array.
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return array.sliced(1, array.size() - 2);
}

std::optional<QJsonValue> VXJSONFromText(const QByteArray &text, QString *reason)
{
    QJsonParseError error;
    const QJsonArray array = QJsonDocument::fromJson('[' + text + ']', &error).array();
    if (error.error == QJsonParseError::NoError && array.size() == 1)
        return array.first();
    if (reason != nullptr && error.error != QJsonParseError::NoError)
        *reason = u"%1 at byte %2"_s.arg(error.errorString()).arg(error.offset - 1);
    else if (reason != nullptr)
        *reason = array.isEmpty() ? u"there is no value"_s : u"there is more than one value"_s;
    return {};
}
