#include "VXPhonebookString.h"

#include "VXCharacterSet.h"
#include "VXDiagnostics.h"
#include "VXPhonebookStringParts.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"
#include "VXTextEscaping.h"
#include "VXWrittenNumber.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView reservedCharacters = u"<>{},";

QString escaped(const QString &text)
{
    return VXTextEscaping::stringByEscapingCharactersInString(text, reservedCharacters);
}

QString unescaped(QStringView part)
{
    return VXTextEscaping::stringByUnescapingCharactersInString(part.toString(), reservedCharacters);
}

// "555 0100" of "Jane <555 0100/Hm>"
QStringView withoutLetters(QStringView text)
{
    if (!text.endsWith(u'>'))
        return text;
    const qsizetype slash = text.lastIndexOf(u'/');
    const bool areLetters = slash >= 0 && VXCharacterSet::phonebookTypeMaskCharacterSet().containsOnlyMembers(
                                              text.sliced(slash + 1).chopped(1));
    return areLetters ? text.first(slash) : text.chopped(1);
}

// Whether something is written behind the digits, letters mostly: false for most numbers, and all names.
bool isLikely(QStringView text)
{
    bool isBehindDigit = false;
    for (const QChar each : text) {
        if (isBehindDigit && (each.isLetter() || QStringView(u"(;,#").contains(each)))
            return true;
        isBehindDigit = each.isDigit() || (isBehindDigit && (each.isSpace() || QStringView(u"-.:/)").contains(each)));
    }
    return false;
}

// The extension, if it is kept, goes behind a pause.
QString dialled(const QString &text, bool keepsExtension)
{
    if (!isLikely(withoutLetters(text)))
        return text;
    const auto parts = VXPhonebookStringParts::parse(text);
    if (parts.isAddress || !parts.problem.isNull())
        return text;
    const bool isBare = parts.value.isNull();
    const QString value = isBare ? text : unescaped(parts.value);
    VXWrittenNumber written = VXWrittenNumber::in(value);
    if (written.number == value || !VXIsValidPhoneNumber(written.number))
        return text;
    if (keepsExtension && !written.extension.isEmpty())
        written.number += u'p' + written.extension.replace(u',', u'p');
    return VXPhonebookStringJoin(isBare || parts.name.isNull() ? QString() : unescaped(parts.name), written.number,
                                 VXPhonebookTypeMaskFromString(parts.letters));
}

} // namespace

bool VXPhonebookStringSplit(const QString &text, QString *name, QString *value, unsigned *typeMask)
{
    const auto parts = VXPhonebookStringParts::split(text);
    if (typeMask != nullptr)
        *typeMask = VXPhonebookTypeMaskFromString(parts.letters);
    // The text itself may be an output, and the parts refer to it.
    QString foundValue;
    if (value != nullptr)
        foundValue = parts.isBareAddress(text) ? text : unescaped(parts.value);
    if (name != nullptr)
        *name = parts.problem.isNull() ? unescaped(parts.name) : text;
    if (value != nullptr)
        *value = std::move(foundValue);
    return parts.isAddress;
}

QString VXPhonebookStringWithoutExtension(const QString &text)
{
    return dialled(text, false);
}

QString VXPhonebookStringWithPause(const QString &text)
{
    return dialled(text, true);
}

QString VXDialledNumber(const QString &phonebookString)
{
    QString value;
    if (!VXPhonebookStringSplit(VXPhonebookStringWithoutExtension(phonebookString), nullptr, &value) ||
        !VXIsValidPhoneNumber(value) || value.contains(u'@'))
        return {};
    return VXWrittenNumber::in(value).number; // a pause is valid
}

bool VXPhonebookStringSplitAsWritten(const QString &text, QString *name, QString *value, unsigned *typeMask)
{
    QString foundName, foundValue;
    const bool isAddress = VXPhonebookStringSplit(text, &foundName, &foundValue, typeMask);
    if (foundValue.isNull() && VXIsNumberAsWritten(text))
        foundValue = std::exchange(foundName, {}).trimmed();
    const bool isNumber = isAddress || VXIsNumberAsWritten(foundValue);
    if (name != nullptr)
        *name = std::move(foundName);
    if (value != nullptr)
        *value = std::move(foundValue);
    return isNumber;
}

QString VXPhonebookStringJoin(const QString &name, const QString &value, unsigned typeMask)
{
    if (value.isNull())
        return name;
    QString property = escaped(value);
    if (typeMask != 0)
        property += u'/' + VXDescription(VXStringFromPhonebookTypeMask(typeMask));
    if (!name.isNull() || typeMask != 0)
        property = u'<' + property + u'>';
    return name.isNull() ? property : escaped(name) + u' ' + property;
}
