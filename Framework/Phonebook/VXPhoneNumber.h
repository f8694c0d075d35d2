#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

// Phone numbers as people write them. All functions are pure and may be called from any thread. Digits are
// the decimal digits of any script; where digits are counted, each counts once, however many UTF-16 units it takes.

/** True for at least 3 UTF-16 units of the formatting set, at least one of them a digit. */
[[nodiscard]] VX_EXPORT bool VXIsValidPhoneNumber(QStringView text);

/**
 * The form under which numbers are compared and looked up: the digits alone, without access and country
 * codes. Digits are kept as they are written. Null for null, empty for a text without digits.
 */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberSearchString(QStringView number);

/** The same of what is dialled of the number: without the "(0)" of VXPhoneNumberWithoutTrunkZero, by which nobody finds it. For
 *  all that is typed, and all that is recorded as somebody else wrote it. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberLookUpString(const QString &number);

/** The digits without a leading country code; fewer than 5 characters come back unchanged. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberByStrippingCountryCode(const QString &digits);

/** The prefix that leads abroad ("00", "011", ...); null when there is none or the number has fewer than 9 digits. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberInternationalAccessCode(QStringView digits);

/** The digits as they are dialled from abroad, without access code; null where the number does not tell its country. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberInternationalDigits(QStringView number);

/** Of an international number without the "(0)" that some write behind the country code for those who call from within the country: nobody dials it with the rest,
 *  and numbers are compared without. Where it is dialled with the rest, as in Italy, it stands there without its brackets. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberWithoutTrunkZero(const QString &number);

/** The prefix for calls within the country ("0", "1", ...); null when there is none or for fewer than 7 digits. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberNationalAccessCode(QStringView digits);
