#include "VXPhonebookString.h"

#include "VXDiagnostics.h"
#include "VXPhonebookStringParts.h"
#include "VXPhonebookType.h"
#include "VXTextEscaping.h"

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
