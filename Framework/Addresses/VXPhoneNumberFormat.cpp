#include "VXPhoneNumberFormat.h"

#include "VXCodePoint.h"
#include "VXUserDefaults.h"

using namespace Qt::StringLiterals;

namespace {

QVariant addressBookPreference(const QString &key)
{
    return VXUserDefaults::standardUserDefaults().persistentDomainForName(u"com.apple.AddressBook"_s).value(key);
}

qsizetype digitCount(QStringView text)
{
    qsizetype count = 0;
    for (qsizetype index = 0; index < text.size();)
        count += VXDecimalDigitValue(VXNextCodePoint(text, index)) >= 0 ? 1 : 0;
    return count;
}

// The next character of the number if it matches the pattern's character, otherwise null.
QStringView taken(QStringView number, qsizetype &cursor, QChar wanted)
{
    if (cursor == number.size())
        return {};
    const qsizetype start = cursor;
    const char32_t character = VXNextCodePoint(number, cursor);
    const bool fits = wanted == u'#' ? VXDecimalDigitValue(character) >= 0 : character == wanted.unicode();
    return fits ? number.sliced(start, cursor - start) : QStringView();
}

} // namespace

QString VXPhoneNumberWithFormat(QStringView number, QStringView pattern)
{
    if (number.isNull() || pattern.isNull() || digitCount(number) != pattern.count(u'#') + pattern.count(u'1'))
        return {};
    QString formatted = u""_s;
    formatted.reserve(pattern.size());
    qsizetype cursor = 0;
    for (const QChar character : pattern) {
        if (character != u'#' && character != u'1' && character != u'+') {
            formatted += character;
            continue;
        }
        const QStringView part = taken(number, cursor, character);
        if (part.isNull())
            return {};
        formatted += part;
    }
    return formatted;
}

QString VXFormatPhoneNumber(const QString &number)
{
    if (!VXAddressBookFormattingIsEnabled())
        return number;
    const QStringList patterns = VXAddressBookFormats();
    for (const QString &pattern : patterns) {
        QString formatted = VXPhoneNumberWithFormat(number, pattern);
        if (!formatted.isNull() && digitCount(formatted) == digitCount(number))
            return formatted;
    }
    return number;
}

bool VXAddressBookFormattingIsEnabled()
{
    return VXUserDefaults::boolFromValue(addressBookPreference(u"ABPhoneFormat-Enabled"_s));
}

QStringList VXAddressBookFormats()
{
    QStringList patterns;
    const QVariantList values = addressBookPreference(u"ABPhoneFormat-PhoneFormatter"_s).toList();
    for (const QVariant &value : values) {
        if (value.metaType() == QMetaType::fromType<QString>())
            patterns += value.toString();
    }
    return patterns;
}
