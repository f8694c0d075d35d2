#include "VXCharacterSet.h"

#include "VXCodePoint.h"

#include <algorithm>

namespace {

// The named sets: ASCII members and categories. They are made at compile time, so their first use needs no guard.
#define VX_DIALING "*#+,!@AaBbCcDdPpTtWw"

constinit const VXCharacterSet decimalDigits("", VXCharacterSet::DecimalDigits);
constinit const VXCharacterSet phoneNumberDialing(VX_DIALING, VXCharacterSet::DecimalDigits);
constinit const VXCharacterSet phoneNumberFormatting(VX_DIALING " ()-/.", VXCharacterSet::DecimalDigits);
constinit const VXCharacterSet phonebookTypeMask("HW!mfp", VXCharacterSet::NoCategory);
constinit const VXCharacterSet groupDelimiter(",;", VXCharacterSet::NoCategory);

#undef VX_DIALING

constexpr unsigned lettersAndDigits =
    VXCharacterSet::UppercaseLetters | VXCharacterSet::LowercaseLetters | VXCharacterSet::DecimalDigits;
constinit const VXCharacterSet emailLocalPart("!#$%&'*+-/=?^_`{|}~.", lettersAndDigits);
constinit const VXCharacterSet emailDomain("-.", lettersAndDigits);

// A result that is kept for long should not keep the memory of a much longer text.
constexpr qsizetype bearableWaste = 64;

} // namespace

const VXCharacterSet &VXCharacterSet::decimalDigitCharacterSet()
{
    return decimalDigits;
}
const VXCharacterSet &VXCharacterSet::phoneNumberDialingCharacterSet()
{
    return phoneNumberDialing;
}
const VXCharacterSet &VXCharacterSet::phoneNumberFormattingCharacterSet()
{
    return phoneNumberFormatting;
}
const VXCharacterSet &VXCharacterSet::phonebookTypeMaskCharacterSet()
{
    return phonebookTypeMask;
}
const VXCharacterSet &VXCharacterSet::groupDelimiterCharacterSet()
{
    return groupDelimiter;
}
const VXCharacterSet &VXCharacterSet::emailLocalPartCharacterSet()
{
    return emailLocalPart;
}
const VXCharacterSet &VXCharacterSet::emailDomainCharacterSet()
{
    return emailDomain;
}

VXCharacterSet VXCharacterSet::characterSetWithCharactersInString(QStringView characters)
{
    VXCharacterSet set("", NoCategory);
    for (qsizetype index = 0; index < characters.size();) {
        const char32_t character = VXNextCodePoint(characters, index);
        if (character < 128)
            set.insertAscii(character);
        else
            set._others.push_back(character);
    }
    std::sort(set._others.begin(), set._others.end());
    return set;
}

bool VXCharacterSet::otherCharacterIsMember(char32_t character) const
{
    if (_categories != NoCategory && (_categories >> QChar::category(character) & 1) != 0)
        return true;
    return std::binary_search(_others.begin(), _others.end(), character);
}

qsizetype VXCharacterSet::leadingMembers(QStringView text, qsizetype from) const
{
    qsizetype end = from;
    for (qsizetype index = from; index < text.size(); end = index) {
        if (!characterIsMember(VXNextCodePoint(text, index)))
            break;
    }
    return end;
}

bool VXCharacterSet::containsAnyMember(QStringView text) const
{
    for (qsizetype index = 0; index < text.size();) {
        if (characterIsMember(VXNextCodePoint(text, index)))
            return true;
    }
    return false;
}

QString VXCharacterSet::membersOf(QStringView text) const
{
    if (text.isNull())
        return {};
    QString members(text.size(), Qt::Uninitialized);
    QChar *const begin = members.data();
    QChar *end = begin;
    for (qsizetype index = 0; index < text.size();) {
        const char16_t unit = text[index].unicode();
        if (Q_LIKELY(unit < 128)) {
            *end = unit;
            end += characterIsMember(unit) ? 1 : 0; // branchless, as members and others are mixed
            ++index;
            continue;
        }
        const qsizetype start = index;
        if (characterIsMember(VXNextCodePoint(text, index)))
            end = std::copy_n(text.data() + start, index - start, end);
    }
    members.truncate(end - begin);
    if (members.size() < text.size() - bearableWaste && members.size() < text.size() / 2)
        members.squeeze();
    return members;
}
