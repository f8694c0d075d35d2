#include "VXPhoneNumber.h"

#include "VXCharacterSet.h"
#include "VXCodePoint.h"
#include "VXCountryCodes.h"
#include "VXWrittenNumber.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype minimumPhoneNumberLength = 3; // UTF-16 units

// The first match wins: of two codes with the same prefix the longer one comes first.
constexpr QLatin1StringView internationalAccessCodes[] = {"0011"_L1, "1060"_L1, "001"_L1, "002"_L1, "005"_L1, "011"_L1,
                                                          "810"_L1,  "900"_L1,  "990"_L1, "99"_L1,  "00"_L1};

// Italy, San Marino and the Vatican: the zero is a part of the number, from abroad, too.
constexpr QLatin1StringView countriesThatDialTheZero[] = {"39"_L1, "378"_L1, "379"_L1};

// For numbers with exactly this many digits.
constexpr qsizetype longNationalNumber = 13;
constexpr QLatin1StringView longNationalAccessCodes[] = {"015"_L1, "021"_L1, "023"_L1, "031"_L1};

// The number of characters of the text, but counting stops at the limit.
qsizetype characterCount(QStringView text, qsizetype limit)
{
    if (text.size() >= 2 * limit)
        return limit;
    qsizetype count = 0;
    for (qsizetype index = 0; index < text.size() && count < limit; ++count)
        VXNextCodePoint(text, index);
    return count;
}

bool hasAtLeast(QStringView text, qsizetype characters)
{
    return characterCount(text, characters) == characters;
}

template <size_t N>
QLatin1StringView firstPrefix(QStringView digits, const QLatin1StringView (&codes)[N])
{
    const auto code = std::find_if(std::begin(codes), std::end(codes),
                                   [&](QLatin1StringView candidate) { return digits.startsWith(candidate); });
    return code == std::end(codes) ? QLatin1StringView() : *code;
}

QLatin1StringView internationalAccessCode(QStringView digits)
{
    return hasAtLeast(digits, 9) ? firstPrefix(digits, internationalAccessCodes) : QLatin1StringView();
}

QLatin1StringView nationalAccessCode(QStringView digits)
{
    if (!hasAtLeast(digits, 7))
        return {};
    if (digits.front() == u'1')
        return "1"_L1;
    if (digits.front() != u'0')
        return {};
    if (characterCount(digits, longNationalNumber + 1) == longNationalNumber) {
        const QLatin1StringView code = firstPrefix(digits, longNationalAccessCodes);
        if (!code.isNull())
            return code;
    }
    return "0"_L1;
}

QStringView strippingCountryCode(QStringView digits)
{
    return hasAtLeast(digits, 5) ? digits.sliced(VXCountryCodeLength(digits)) : digits;
}

QStringView strippingCodes(QStringView digits, bool isInternational)
{
    if (isInternational)
        return strippingCountryCode(digits);
    if (const QLatin1StringView code = internationalAccessCode(digits); !code.isNull())
        return strippingCountryCode(digits.sliced(code.size()));
    if (const QLatin1StringView code = nationalAccessCode(digits); !code.isNull())
        return digits.sliced(code.size());
    return hasAtLeast(digits, 11) ? strippingCountryCode(digits) : digits;
}

} // namespace

bool VXIsValidPhoneNumber(QStringView text)
{
    return text.size() >= minimumPhoneNumberLength &&
           VXCharacterSet::phoneNumberFormattingCharacterSet().containsOnlyMembers(text) &&
           VXCharacterSet::decimalDigitCharacterSet().containsAnyMember(text);
}

bool VXIsNumberAsWritten(const QString &text)
{
    return VXIsValidPhoneNumber(VXWrittenNumber::in(text).number);
}

QString VXPhoneNumberSearchString(QStringView number)
{
    QString digits = VXCharacterSet::decimalDigitCharacterSet().membersOf(number);
    QStringView rest(digits);
    if (hasAtLeast(rest, 8))
        rest = strippingCodes(rest, number.startsWith(u'+'));
    if (hasAtLeast(rest, 8) && rest.front() == u'1')
        rest = rest.sliced(1);
    digits.remove(0, digits.size() - rest.size()); // only moves the start, without copying the digits again
    return digits;
}

QString VXPhoneNumberLookUpString(const QString &number)
{
    return VXPhoneNumberRecordString(VXWrittenNumber::in(number).number);
}

QString VXPhoneNumberRecordString(const QString &number)
{
    return VXPhoneNumberSearchString(VXPhoneNumberWithoutTrunkZero(number));
}

QString VXPhoneNumberByStrippingCountryCode(const QString &digits)
{
    const QStringView rest = strippingCountryCode(digits);
    return rest.size() == digits.size() ? digits : rest.toString();
}

QString VXPhoneNumberInternationalAccessCode(QStringView digits)
{
    return internationalAccessCode(digits);
}

QString VXPhoneNumberInternationalDigits(QStringView number)
{
    const QString digits = VXCharacterSet::decimalDigitCharacterSet().membersOf(number);
    if (number.trimmed().startsWith(u'+'))
        return digits;
    const QLatin1StringView access = internationalAccessCode(digits);
    return access.isNull() ? QString() : digits.sliced(access.size());
}

QString VXPhoneNumberWithoutTrunkZero(const QString &number)
{
    constexpr QLatin1StringView zero("(0)");
    const bool isInternational = number.startsWith(u'+') || number.startsWith("00"_L1);
    const qsizetype at = isInternational ? number.indexOf(zero) : -1;
    if (at < 0)
        return number;
    QString country = VXCharacterSet::decimalDigitCharacterSet().membersOf(number.first(at));
    if (country.startsWith("00"_L1))
        country.remove(0, 2);
    if (country.isEmpty() || VXCountryCodeLength(country) != country.size())
        return number; // an ordinary digit
    const bool isDialled = std::ranges::find(countriesThatDialTheZero, country) != std::end(countriesThatDialTheZero);
    return QString(number).replace(at, zero.size(), isDialled ? u" 0"_s : u" "_s).simplified();
}

QString VXPhoneNumberNationalAccessCode(QStringView digits)
{
    return nationalAccessCode(digits);
}
