#include "VXEventDescriptorContents.h"

#include <QtCore/QtEndian>

#include <bit>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;
using Code = VXEventCode;

namespace {

constexpr qint64 secondsBefore1970 = 2082844800; // since 1904

// Reads a big-endian number of exactly that size; empty for any other size.
template <class T>
std::optional<T> numberIn(const QByteArray &bytes)
{
    if (bytes.size() != qsizetype(sizeof(T)))
        return std::nullopt;
    return qFromBigEndian<T>(bytes.constData());
}

std::optional<qint64> wholeNumber(double value)
{
    // 2^63 itself is no qint64.
    if (!(value >= -0x1p63 && value < 0x1p63) || std::trunc(value) != value)
        return std::nullopt;
    return qint64(value);
}

std::optional<bool> truthInText(const QString &text)
{
    if (text.compare("true"_L1, Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare("false"_L1, Qt::CaseInsensitive) == 0)
        return false;
    return std::nullopt;
}

template <class T>
std::optional<T> ifParsed(T value, bool isParsed)
{
    return isParsed ? std::optional(value) : std::nullopt;
}

} // namespace

bool VXEventDescriptor::hasKeywords(std::initializer_list<VXFourCharCode> keywords) const
{
    for (const VXFourCharCode keyword : keywords) {
        if (!descriptorForKeyword(keyword))
            return false;
    }
    return true;
}

VXEventDescriptor VXEventDescriptor::retyped(VXFourCharCode type) const
{
    VXEventDescriptor copy = *this;
    copy._contents->type = type;
    return copy;
}

std::optional<VXEventDescriptor> VXEventDescriptor::coerceToType(VXFourCharCode wanted) const
{
    if (type() == wanted)
        return *this;
    const auto made = [](const auto &value, auto make) {
        return value ? std::optional<VXEventDescriptor>(make(*value)) : std::nullopt;
    };
    switch (wanted) {
    case Code::List:
        return list({*this});
    case Code::ObjectSpecifier:
        if (_contents->kind != Contents::Kind::Record ||
            !hasKeywords({Code::KeyForm, Code::DesiredClass, Code::KeyData, Code::Container}))
            return std::nullopt;
        return retyped(wanted);
    case Code::Comparison:
        if (_contents->kind != Contents::Kind::Record ||
            !hasKeywords({Code::CompareOperator, Code::FirstObject, Code::SecondObject}))
            return std::nullopt;
        return retyped(wanted);
    case Code::Record:
        return _contents->kind == Contents::Kind::Record ? std::optional(retyped(wanted)) : std::nullopt;
    default:
        break;
    }
    if (isList() && numberOfItems() == 1)
        return _contents->entries.first().descriptor.coerceToType(wanted);
    switch (wanted) {
    case Code::Text: {
        const QString text = stringValue();
        return text.isNull() ? std::nullopt : std::optional(withString(text));
    }
    case Code::Boolean:
        return made(booleanValue(), &withBoolean);
    case Code::Real:
        return made(realValue(), &withReal);
    case Code::Int32:
    case Code::Int64: {
        const std::optional<qint64> value = integerValue();
        if (!value || (wanted == Code::Int32 && qint32(*value) != *value))
            return std::nullopt;
        QByteArray bytes(8, Qt::Uninitialized);
        qToBigEndian(*value, bytes.data());
        return withData(wanted, wanted == Code::Int32 ? bytes.sliced(4) : bytes);
    }
    case Code::Code:
    case Code::Enumeration: {
        const VXFourCharCode code = codeValue();
        if (code == 0)
            return std::nullopt;
        return wanted == Code::Code ? withTypeCode(code) : withEnumCode(code);
    }
    default:
        return std::nullopt;
    }
}

QString VXEventDescriptor::stringValue() const
{
    switch (type()) {
    case Code::Text:
    case Code::BundleIdentifier:
        return _contents->data.isNull() ? u""_s : QString::fromUtf8(_contents->data);
    case Code::Code:
    case Code::Enumeration:
        return codeValue() == 0 ? QString() : VXStringFromCode(codeValue());
    case Code::Boolean:
        if (const std::optional<bool> truth = booleanValue())
            return *truth ? u"true"_s : u"false"_s;
        return {};
    case Code::UInt64:
        if (const auto number = numberIn<quint64>(_contents->data))
            return QString::number(*number);
        return {};
    case Code::Real:
        if (const std::optional<double> number = realValue())
            return QString::number(*number, 'g', QLocale::FloatingPointShortest);
        return {};
    case Code::Date: {
        const QDateTime date = value().toDateTime();
        return date.isValid() ? date.toString(Qt::ISODate) : QString();
    }
    case Code::List:
        return numberOfItems() == 1 ? _contents->entries.first().descriptor.stringValue() : QString();
    default:
        if (const std::optional<qint64> number = integerValue())
            return QString::number(*number);
        return {};
    }
}

std::optional<qint64> VXEventDescriptor::integerValue() const
{
    switch (type()) {
    case Code::Int32:
        return numberIn<qint32>(_contents->data);
    case Code::Int64:
        return numberIn<qint64>(_contents->data);
    case Code::UInt64: {
        const auto number = numberIn<quint64>(_contents->data);
        return number && *number <= quint64(std::numeric_limits<qint64>::max()) ? std::optional(qint64(*number))
                                                                                : std::nullopt;
    }
    case Code::Real: {
        const std::optional<double> number = realValue();
        return number ? wholeNumber(*number) : std::nullopt;
    }
    case Code::Boolean:
        return booleanValue();
    case Code::Text: {
        bool isParsed = false;
        const qint64 number = stringValue().toLongLong(&isParsed);
        return ifParsed(number, isParsed);
    }
    default:
        return std::nullopt;
    }
}

std::optional<double> VXEventDescriptor::realValue() const
{
    switch (type()) {
    case Code::Real: {
        const auto bits = numberIn<quint64>(_contents->data);
        return bits ? std::optional(std::bit_cast<double>(*bits)) : std::nullopt;
    }
    case Code::UInt64: {
        const auto number = numberIn<quint64>(_contents->data);
        constexpr double end = 0x1p64; // the largest numbers are rounded up to this, which does not fit
        return number && double(*number) < end && quint64(double(*number)) == *number ? std::optional(double(*number))
                                                                                      : std::nullopt;
    }
    case Code::Text: {
        bool isParsed = false;
        const double number = stringValue().toDouble(&isParsed);
        return ifParsed(number, isParsed);
    }
    default: {
        const std::optional<qint64> number = integerValue();
        if (!number || wholeNumber(double(*number)) != number) // not every 64-bit number is a double
            return std::nullopt;
        return double(*number);
    }
    }
}

std::optional<bool> VXEventDescriptor::booleanValue() const
{
    switch (type()) {
    case Code::Boolean:
        if (_contents->data.size() != 1 || static_cast<unsigned char>(_contents->data[0]) > 1)
            return std::nullopt;
        return _contents->data[0] != '\0';
    case Code::Text:
        return truthInText(stringValue());
    default: {
        const std::optional<qint64> number = integerValue();
        if (!number || (*number != 0 && *number != 1))
            return std::nullopt;
        return *number == 1;
    }
    }
}

VXFourCharCode VXEventDescriptor::codeValue() const
{
    if (type() == Code::Text)
        return data().size() == 4 ? VXCodeFromString(stringValue()) : 0;
    if (type() != Code::Code && type() != Code::Enumeration)
        return 0;
    return numberIn<quint32>(_contents->data).value_or(0);
}

// -- Plain values

namespace {

VXEventDescriptor recordOfMap(const QVariantMap &map)
{
    VXEventDescriptor values = VXEventDescriptor::list();
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
        values.append(VXEventDescriptor::withString(entry.key()));
        values.append(VXEventDescriptor::fromValue(entry.value()));
    }
    VXEventDescriptor record = VXEventDescriptor::record();
    record.setDescriptor(values, Code::NamedValues);
    return record;
}

VXEventDescriptor listOfValues(const QVariantList &values)
{
    VXEventDescriptor list = VXEventDescriptor::list();
    for (const QVariant &value : values)
        list.append(VXEventDescriptor::fromValue(value));
    return list;
}

QVariantMap mapOfRecord(const VXEventDescriptor &record)
{
    QVariantMap map;
    for (qsizetype index = 1; index <= record.numberOfItems(); ++index) {
        const VXEventDescriptor item = *record.descriptorAtIndex(index);
        if (record.keywordAtIndex(index) != Code::NamedValues || !item.isList()) {
            map.insert(VXStringFromCode(record.keywordAtIndex(index)), item.value());
            continue;
        }
        for (qsizetype place = 1; place < item.numberOfItems(); place += 2)
            map.insert(item.descriptorAtIndex(place)->stringValue(), item.descriptorAtIndex(place + 1)->value());
    }
    return map;
}

VXEventDescriptor fromUnsigned(quint64 number)
{
    if (number <= quint64(std::numeric_limits<qint64>::max()))
        return VXEventDescriptor::withInteger(qint64(number));
    QByteArray bytes(8, Qt::Uninitialized);
    qToBigEndian(number, bytes.data());
    return VXEventDescriptor::withData(Code::UInt64, bytes);
}

} // namespace

VXEventDescriptor VXEventDescriptor::fromValue(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<VXEventDescriptor>())
        return value.value<VXEventDescriptor>();
    switch (value.metaType().id()) {
    case QMetaType::UnknownType:
        return {};
    case QMetaType::Bool:
        return withBoolean(value.toBool());
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return fromUnsigned(value.toULongLong());
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return withInteger(value.toLongLong());
    case QMetaType::Float:
    case QMetaType::Double:
        return withReal(value.toDouble());
    case QMetaType::QByteArray:
        return withData(Code::Bytes, value.toByteArray());
    case QMetaType::QDateTime:
        return withDate(value.toDateTime());
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return listOfValues(value.toList());
    case QMetaType::QVariantMap:
        return recordOfMap(value.toMap());
    default:
        return value.canConvert<QString>() ? withString(value.toString()) : VXEventDescriptor();
    }
}

QVariant VXEventDescriptor::value() const
{
    if (isList()) {
        QVariantList values;
        for (const Entry &entry : _contents->entries)
            values.append(entry.descriptor.value());
        return values;
    }
    if (isRecord())
        return mapOfRecord(*this);
    switch (type()) {
    case Code::Null:
        return {};
    case Code::Boolean:
        return booleanValue() ? QVariant(*booleanValue()) : QVariant(data());
    case Code::Int32:
    case Code::Int64:
        return integerValue() ? QVariant(qlonglong(*integerValue())) : QVariant(data());
    case Code::UInt64:
        return _contents->data.size() == 8 ? QVariant(qulonglong(*numberIn<quint64>(_contents->data)))
                                           : QVariant(data());
    case Code::Real:
        return realValue() ? QVariant(*realValue()) : QVariant(data());
    case Code::Date: {
        const auto seconds = numberIn<qint64>(_contents->data);
        constexpr qint64 furthest = qint64(1) << 50; // seconds beyond this give no valid QDateTime
        if (!seconds || *seconds > furthest || *seconds < -furthest)
            return data();
        return QDateTime::fromSecsSinceEpoch(*seconds - secondsBefore1970, Qt::UTC);
    }
    case Code::Text:
    case Code::BundleIdentifier:
    case Code::Code:
    case Code::Enumeration:
        return stringValue().isNull() ? QVariant(data()) : QVariant(stringValue());
    default:
        return data();
    }
}
