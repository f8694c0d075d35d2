#include "VXPhonebookType.h"

#include "VXCharacterSet.h"

namespace {

struct Letter
{
    char16_t letter;
    unsigned bits;
    unsigned field; // the mask of the field that the bits belong to
};

constexpr Letter letters[] = {
    {u'H', VXPhonebookTypeHome, VXPhonebookTypeLocationMask}, {u'W', VXPhonebookTypeWork, VXPhonebookTypeLocationMask},
    {u'f', VXPhonebookTypeFax, VXPhonebookTypeKindMask},      {u'm', VXPhonebookTypeMobile, VXPhonebookTypeKindMask},
    {u'p', VXPhonebookTypePager, VXPhonebookTypeKindMask},    {u'!', VXPhonebookTypePrimary, VXPhonebookTypeKindMask},
};

} // namespace

bool VXIsValidPhonebookType(QStringView text)
{
    return !text.isNull() && VXCharacterSet::phonebookTypeMaskCharacterSet().containsOnlyMembers(text);
}

unsigned VXPhonebookTypeMaskFromString(QStringView text)
{
    unsigned mask = VXPhonebookTypeNone;
    for (const QChar character : text) {
        for (const Letter &letter : letters)
            mask |= character == letter.letter ? letter.bits : 0;
    }
    return mask;
}

QString VXStringFromPhonebookTypeMask(unsigned mask)
{
    QString text;
    for (const Letter &letter : letters) {
        if ((mask & letter.field) == letter.bits)
            text += QChar(letter.letter);
    }
    return text;
}
