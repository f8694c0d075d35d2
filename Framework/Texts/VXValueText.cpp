#include "VXValueText.h"

#include "VXJSON.h"
#include "VXNone.h"
#include "VXNumber.h"
#include "VXPhonebookType.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QStringEncoder>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <ctime>

using namespace Qt::StringLiterals;

namespace {

QString uriText(const VXManagedObject &object)
{
    return object.objectID().uriRepresentation().toString(QUrl::FullyEncoded);
}

void appendUTF8(QByteArray &text, QStringView string)
{
    QStringEncoder encoder(QStringEncoder::Utf8);
    const qsizetype size = text.size();
    text.resize(size + encoder.requiredSpace(string.size()));
    text.resize(encoder.appendToBuffer(text.data() + size, string) - text.constData());
}

template <class Number, class... Format>
void appendNumber(QByteArray &text, Number number, Format... format)
{
    std::array<char, 32> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number, format...);
    text.append(digits.data(), result.ptr - digits.data());
}

void appendReal(QByteArray &text, double number)
{
    if (std::isfinite(number))
        appendNumber(text, number);
}

void appendDigits(QByteArray &text, int number, int width)
{
    std::array<char, 16> digits{};
    for (int place = width; place > 0; --place, number /= 10)
        digits[static_cast<size_t>(place - 1)] = static_cast<char>('0' + number % 10);
    text.append(digits.data(), width);
}

// Formatted by hand, since exports have many dates, and Qt's formatting takes longer than all the rest of a line.
void appendDate(QByteArray &text, const QDateTime &date, bool inUTC)
{
    if (!date.isValid())
        return;
    const qint64 milliseconds = date.toMSecsSinceEpoch();
    const std::time_t seconds = (milliseconds - (milliseconds % 1000 + 1000) % 1000) / 1000;
    std::tm parts = {};
    const bool isKnown = (inUTC ? ::gmtime_r(&seconds, &parts) : ::localtime_r(&seconds, &parts)) != nullptr;
    const int year = parts.tm_year + 1900;
    if (!isKnown || year < 0 || year > 9999) {
        text.append((inUTC ? date.toUTC() : date.toLocalTime()).toString(Qt::ISODate).toUtf8());
        return;
    }
    appendDigits(text, year, 4);
    text.append('-');
    appendDigits(text, parts.tm_mon + 1, 2);
    text.append('-');
    appendDigits(text, parts.tm_mday, 2);
    text.append(inUTC ? 'T' : ' ');
    appendDigits(text, parts.tm_hour, 2);
    text.append(':');
    appendDigits(text, parts.tm_min, 2);
    text.append(':');
    appendDigits(text, parts.tm_sec, 2);
    if (inUTC)
        text.append('Z');
}

// The text for a contact's number, address, page or group. Null for other maps.
QString addressText(const QVariantMap &map)
{
    static const QStringList whole{u"number"_s, u"address"_s, u"url"_s, u"text"_s, u"name"_s};
    static const QStringList parts{u"street"_s, u"zip"_s, u"city"_s, u"state"_s, u"country"_s};
    static const QStringList remarks{u"type"_s, u"label"_s};
    QStringList texts;
    for (const QString &key : whole + parts)
        texts.append(map.value(key).toString());
    texts.removeAll(QString());
    const bool isOther =
        std::ranges::any_of(map.keys(), [](const QString &key) { return !(whole + parts + remarks).contains(key); });
    if (isOther || texts.isEmpty())
        return {};
    const bool hasLetters = map.contains(u"number"_s) || map.contains(u"address"_s);
    const QVariant type = map.value(u"type"_s);
    const QString letters = !hasLetters || type.typeId() == QMetaType::QString
                                ? type.toString()
                                : VXStringFromPhonebookTypeMask(type.toUInt());
    return texts.join(u' ') + (hasLetters && !letters.isEmpty() ? u'/' + letters : QString());
}

void appendList(QByteArray &text, const QVariantList &list, bool inUTC)
{
    const qsizetype start = text.size();
    for (const QVariant &element : list) {
        if (text.size() > start)
            text.append(", ");
        const QString address = element.typeId() == QMetaType::QVariantMap ? addressText(element.toMap()) : QString();
        if (address.isNull())
            VXAppendValueText(text, element, inUTC);
        else
            appendUTF8(text, address);
    }
}

void appendMap(QByteArray &text, const QVariant &map)
{
    text.append(VXJSONText(VXPlainJSON(map)));
}

} // namespace

const VXManagedObject *VXManagedObjectIn(const QVariant &object)
{
    if (object.metaType() == QMetaType::fromType<VXManagedObjectPtr>())
        return static_cast<const VXManagedObjectPtr *>(object.constData())->get();
    return nullptr;
}

void VXAppendValueText(QByteArray &text, const QVariant &value, bool inUTC)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return appendUTF8(text, *static_cast<const QString *>(value.constData()));
    case QMetaType::QDateTime:
        return appendDate(text, *static_cast<const QDateTime *>(value.constData()), inUTC);
    case QMetaType::Bool:
        text.append(value.toBool() ? "true" : "false");
        return;
    case QMetaType::Double:
    case QMetaType::Float:
        return appendReal(text, value.toDouble());
    case QMetaType::QByteArray:
        text.append(value.toByteArray().toBase64());
        return;
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return appendList(text, value.toList(), inUTC);
    case QMetaType::QVariantMap:
        return appendMap(text, value);
    case QMetaType::ULongLong:
        return appendNumber(text, value.toULongLong());
    default:
        break;
    }
    if (VXIsWholeNumber(value.metaType()))
        appendNumber(text, value.toLongLong());
    else if (const VXManagedObject *const object = VXManagedObjectIn(value))
        appendUTF8(text, uriText(*object));
    else
        appendUTF8(text, value.toString());
}

QString VXValueText(const QVariant &value, bool inUTC)
{
    QByteArray text;
    VXAppendValueText(text, value, inUTC);
    return QString::fromUtf8(text);
}

QJsonValue VXPlainJSON(const QVariant &value)
{
    if (VXIsNone(value))
        return QJsonValue::Null;
    switch (value.typeId()) {
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toBase64());
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto entry = map.begin(); entry != map.end(); ++entry)
            object.insert(entry.key(), VXPlainJSON(*entry));
        return object;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QJsonArray array;
        for (const QVariant &element : value.toList())
            array.append(VXPlainJSON(element));
        return array;
    }
    default:
        break;
    }
    if (const VXManagedObject *const object = VXManagedObjectIn(value))
        return uriText(*object);
    if (VXIsRealNumber(value.metaType()) && !std::isfinite(value.toDouble()))
        return QJsonValue::Null;
    return QJsonValue::fromVariant(value);
}
