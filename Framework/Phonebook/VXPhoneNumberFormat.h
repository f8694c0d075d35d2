#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// Phone numbers in the formats of the user's address book. Any thread.

/**
 * The number as the pattern shows it: "#" takes a digit, "1" and "+" take that very character, all else is
 * copied from the pattern. Nothing in the number is skipped, so it has to be pure digits, with "+" where the
 * pattern has one.
 * @return null when the number does not fit, has another count of digits than the pattern, or either is null.
 */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberWithFormat(QStringView number, QStringView pattern);

/** The number in the first of the user's formats that fits and keeps the count of digits, else unchanged. */
[[nodiscard]] VX_EXPORT QString VXFormatPhoneNumber(const QString &number);

/** Whether the user wants numbers formatted: "ABPhoneFormat-Enabled" of the domain "com.apple.AddressBook". */
[[nodiscard]] VX_EXPORT bool VXAddressBookFormattingIsEnabled();

/** The user's patterns in their order: "ABPhoneFormat-PhoneFormatter" of that domain; empty when there are none. */
[[nodiscard]] VX_EXPORT QStringList VXAddressBookFormats();
