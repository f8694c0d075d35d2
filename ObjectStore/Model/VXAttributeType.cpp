#include "VXAttributeType.h"

#include "VXNone.h"
#include "VXNumber.h"
#include "VXPropertyList.h"

#include <QtCore/QDateTime>

#include <array>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

// In the order of the enumerators.
constexpr std::array<QLatin1StringView, 9> typeNames = {
    "integer16"_L1, "integer32"_L1, "integer64"_L1, "double"_L1,        "boolean"_L1,
    "string"_L1,    "date"_L1,      "binary"_L1,    "property-list"_L1,
};

// An integer in the range of T; a floating-point value only if nothing is lost.
template <class T>
std::optional<qint64> wholeNumber(const QVariant &value)
{
    qint64 number = 0;
    if (VXIsWholeNumber(value.metaType())) {
        if (value.typeId() == QMetaType::ULongLong && value.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
            return std::nullopt;
        number = value.toLongLong();
    } else if (VXIsRealNumber(value.metaType())) {
        const double real = value.toDouble();
        if (!(real >= -0x1p63 && real < 0x1p63) || double(qint64(real)) != real)
            return std::nullopt;
        number = qint64(real);
    } else {
        return std::nullopt;
    }
    if (number < std::numeric_limits<T>::min() || number > std::numeric_limits<T>::max())
        return std::nullopt;
    return number;
}

template <class T>
std::optional<QVariant> ofType(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<T>() ? std::optional(value) : std::nullopt;
}

template <class T>
std::optional<QVariant> smallNumber(const QVariant &value)
{
    const std::optional<qint64> number = wholeNumber<T>(value);
    return number ? std::optional<QVariant>(int(*number)) : std::nullopt;
}

std::optional<QVariant> boolean(const QVariant &value)
{
    const std::optional<qint64> number = wholeNumber<qint64>(value);
    if (number)
        return *number == 0 || *number == 1 ? std::optional<QVariant>(*number == 1) : std::nullopt;
    return ofType<bool>(value);
}

std::optional<QVariant> date(const QVariant &value)
{
    const QDateTime time = value.metaType() == QMetaType::fromType<QDateTime>() ? value.toDateTime() : QDateTime();
    return time.isValid() ? std::optional<QVariant>(time.toUTC()) : std::nullopt;
}

// The value as a store would return it: otherwise it would differ from itself after a save.
QVariant asRead(const QVariant &value)
{
    if (value.typeId() == QMetaType::QVariantMap || value.typeId() == QMetaType::QVariantHash) {
        QVariantMap map = value.toMap();
        for (QVariant &each : map)
            each = asRead(each);
        return map;
    }
    if (value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList) {
        QVariantList list = value.toList();
        for (QVariant &each : list)
            each = asRead(each);
        return list;
    }
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().toUTC();
    if (VXIsRealNumber(value.metaType()))
        return value.toDouble();
    const std::optional<qint64> number = VXIsWholeNumber(value.metaType()) ? wholeNumber<qint64>(value) : std::nullopt;
    return number ? QVariant(qlonglong(*number)) : value;
}

} // namespace

QString VXAttributeTypeName(VXAttributeType type)
{
    return typeNames.at(size_t(type));
}

std::optional<VXAttributeType> VXAttributeTypeFromName(QStringView name)
{
    for (size_t index = 0; index < typeNames.size(); ++index) {
        if (name == typeNames.at(index))
            return VXAttributeType(index);
    }
    return std::nullopt;
}

bool VXIsPlainAttributeValue(VXAttributeType type, const QVariant &value)
{
    const int held = value.typeId();
    switch (type) {
    case VXAttributeType::Integer32:
        return held == QMetaType::Int;
    case VXAttributeType::Integer64:
        return held == QMetaType::LongLong;
    case VXAttributeType::Double:
        return held == QMetaType::Double;
    case VXAttributeType::Boolean:
        return held == QMetaType::Bool;
    case VXAttributeType::String:
        return held == QMetaType::QString && !static_cast<const QString *>(value.constData())->isNull();
    case VXAttributeType::Date:
        return held == QMetaType::QDateTime && static_cast<const QDateTime *>(value.constData())->isValid() &&
               static_cast<const QDateTime *>(value.constData())->timeSpec() == Qt::UTC;
    case VXAttributeType::Integer16:
    case VXAttributeType::Binary:
    case VXAttributeType::PropertyList:
        break;
    }
    return false;
}

std::optional<QVariant> VXAttributeValue(VXAttributeType type, const QVariant &value)
{
    if (VXIsNone(value))
        return QVariant();
    switch (type) {
    case VXAttributeType::Integer16:
        return smallNumber<qint16>(value);
    case VXAttributeType::Integer32:
        return smallNumber<qint32>(value);
    case VXAttributeType::Integer64: {
        const std::optional<qint64> number = wholeNumber<qint64>(value);
        return number ? std::optional<QVariant>(qlonglong(*number)) : std::nullopt;
    }
    case VXAttributeType::Double:
        return VXIsWholeNumber(value.metaType()) || VXIsRealNumber(value.metaType())
                   ? std::optional<QVariant>(value.toDouble())
                   : std::nullopt;
    case VXAttributeType::Boolean:
        return boolean(value);
    case VXAttributeType::String:
        return ofType<QString>(value);
    case VXAttributeType::Date:
        return date(value);
    case VXAttributeType::Binary:
        return ofType<QByteArray>(value);
    case VXAttributeType::PropertyList:
        return VXPropertyList::isValid(value) ? std::optional(asRead(value)) : std::nullopt;
    }
    return std::nullopt;
}
