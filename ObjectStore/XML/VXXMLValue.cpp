#include "VXXMLValue.h"

#include "VXPropertyList.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

using namespace Qt::StringLiterals;

namespace {

// No carriage returns, which XML readers convert to line feeds.
bool isPlain(const QString &text, qsizetype index)
{
    const QChar c = text[index];
    if (c.isHighSurrogate())
        return index + 1 < text.size() && text[index + 1].isLowSurrogate();
    if (c.isLowSurrogate())
        return index > 0 && text[index - 1].isHighSurrogate();
    const char16_t code = c.unicode();
    return code >= 0x20 ? code < 0xfffe && code != u'\\' : code == u'\t' || code == u'\n';
}

QString escaped(const QString &text)
{
    QString result = u""_s; // never null
    result.reserve(text.size());
    for (qsizetype index = 0; index < text.size(); ++index) {
        const QChar c = text[index];
        if (isPlain(text, index))
            result += c;
        else if (c == u'\\')
            result += "\\\\"_L1;
        else
            result += u"\\u%1"_s.arg(uint(c.unicode()), 4, 16, QChar(u'0'));
    }
    return result;
}

std::optional<QString> unescaped(const QString &text)
{
    QString result = u""_s;
    result.reserve(text.size());
    for (qsizetype index = 0; index < text.size(); ++index) {
        if (text[index] != u'\\') {
            result += text[index];
            continue;
        }
        const QStringView rest = QStringView(text).sliced(index + 1);
        bool isNumber = false;
        const ushort code = rest.startsWith(u'u') && rest.size() >= 5 ? rest.mid(1, 4).toUShort(&isNumber, 16) : u'\\';
        if (!isNumber && !rest.startsWith(u'\\'))
            return std::nullopt;
        result += QChar(code);
        index += isNumber ? 5 : 1;
    }
    return result;
}

QString base64(const QByteArray &data)
{
    return data.isNull() ? QString() : u""_s + QString::fromLatin1(data.toBase64());
}

std::optional<QByteArray> fromBase64(const QString &text)
{
    const auto decoded = QByteArray::fromBase64Encoding(text.simplified().remove(u' ').toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    return decoded.decoded.isNull() ? QByteArray("") : *decoded;
}

std::optional<QVariant> number(const QString &text)
{
    bool isNumber = false;
    const qlonglong value = text.toLongLong(&isNumber);
    return isNumber ? std::optional<QVariant>(value) : std::nullopt;
}

std::optional<QVariant> real(const QString &text)
{
    bool isNumber = false;
    const double value = text.toDouble(&isNumber);
    return isNumber ? std::optional<QVariant>(value) : std::nullopt;
}

std::optional<QVariant> propertyList(const QString &text)
{
    const std::optional<QByteArray> data = fromBase64(text);
    const QVariant value = data ? VXPropertyList::fromData(*data) : QVariant();
    return value.isValid() ? std::optional(value) : std::nullopt;
}

std::optional<QVariant> rawValue(VXAttributeType type, const QString &text)
{
    switch (type) {
    case VXAttributeType::Integer16:
    case VXAttributeType::Integer32:
    case VXAttributeType::Integer64:
        return number(text);
    case VXAttributeType::Double:
        return real(text);
    case VXAttributeType::Boolean:
        return text == "true"_L1 || text == "false"_L1 ? std::optional<QVariant>(text == "true"_L1) : std::nullopt;
    case VXAttributeType::String:
        return unescaped(text);
    case VXAttributeType::Date: {
        const std::optional<QVariant> milliseconds = number(text);
        return milliseconds
                   ? std::optional<QVariant>(QDateTime::fromMSecsSinceEpoch(milliseconds->toLongLong(), Qt::UTC))
                   : std::nullopt;
    }
    case VXAttributeType::Binary:
        return fromBase64(text);
    case VXAttributeType::PropertyList:
        return propertyList(text);
    }
    return std::nullopt;
}

} // namespace

QString VXXMLText(VXAttributeType type, const QVariant &value)
{
    switch (type) {
    case VXAttributeType::Integer16:
    case VXAttributeType::Integer32:
    case VXAttributeType::Integer64:
        return QString::number(value.toLongLong());
    case VXAttributeType::Double:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    case VXAttributeType::Boolean:
        return value.toBool() ? u"true"_s : u"false"_s;
    case VXAttributeType::String:
        return escaped(value.toString());
    case VXAttributeType::Date:
        return QString::number(value.toDateTime().toMSecsSinceEpoch());
    case VXAttributeType::Binary:
        return base64(value.toByteArray());
    case VXAttributeType::PropertyList:
        return base64(VXPropertyList::toData(value, VXPropertyList::Format::Binary));
    }
    return {};
}

std::optional<QVariant> VXXMLValue(VXAttributeType type, const QString &text)
{
    const std::optional<QVariant> value = rawValue(type, text);
    return value ? VXAttributeValue(type, *value) : std::nullopt;
}
