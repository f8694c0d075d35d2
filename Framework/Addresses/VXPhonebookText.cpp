#include "VXPhonebookText.h"

#include "VXEmailAddress.h"
#include "VXPhonebookType.h"
#include "VXPhoneNumber.h"

bool VXPhonebookText::isValidEmailAddress() const
{
    return VXIsValidEmailAddress(_text);
}
bool VXPhonebookText::isValidPhoneNumber() const
{
    return VXIsValidPhoneNumber(_text);
}
bool VXPhonebookText::isValidPhonebookType() const
{
    return VXIsValidPhonebookType(_text);
}

bool VXPhonebookText::containsOnlyCharactersFromSet(const VXCharacterSet &set) const
{
    return !_text.isNull() && set.containsOnlyMembers(_text);
}

QString VXPhonebookText::stringWithCharactersFromSet(const VXCharacterSet &set) const
{
    return _text.isEmpty() ? _text : set.membersOf(_text);
}
