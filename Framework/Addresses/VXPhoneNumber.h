#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

// Phone numbers in the form in which people write them. All functions are pure and may be called on any thread. Digits
// are the decimal digits of any script; where digits are counted, each counts once, however many UTF-16 units it has.

/** Whether the text has at least 3 UTF-16 units, all in the formatting set, and at least one digit. */
[[nodiscard]] VX_EXPORT bool VXIsValidPhoneNumber(QStringView text);

/** Whether it is a valid number once extension, remark and second number (VXWrittenNumber) are taken off: what people may
 *  write as the number of a contact. */
[[nodiscard]] VX_EXPORT bool VXIsNumberAsWritten(const QString &text);

/**
 * The form in which numbers are compared and looked up: only the digits, without access and country codes. Digits are
 * kept as written. Null for null, empty for a text without digits.
 */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberSearchString(QStringView number);

/** The same of what is dialled of the number: without what VXWrittenNumber takes off, and without the "(0)" of
 *  VXPhoneNumberWithoutTrunkZero, by which nobody finds it. For the numbers of contacts, and all that is typed or looked up. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberLookUpString(const QString &number);

/** The same with the digits of an extension: what messages and calls keep of a number,
 *  as a network tells it to phones, and what tells the numbers of contacts apart. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberRecordString(const QString &number);

/** The digits without a leading country code; fewer than 5 characters come back unchanged. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberByStrippingCountryCode(const QString &digits);

/**
 * The international access code at the start ("00", "011", ...); null when there is none or the number has fewer than 9
 * digits.
 */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberInternationalAccessCode(QStringView digits);

/** The digits as dialled from abroad, without access code; null if the number does not contain its country. */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberInternationalDigits(QStringView number);

/**
 * Removes from an international number the "(0)" that some people write after the country code for callers within the
 * country: it is not dialled with the rest, and numbers are compared without it. Where it is dialled with the rest, as
 * in Italy, only the brackets are removed.
 */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberWithoutTrunkZero(const QString &number);

/**
 * The prefix for calls within the country ("0", "1", ...); null when there is none or the number has fewer than 7
 * digits.
 */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberNationalAccessCode(QStringView digits);
