#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// Phone numbers in the formats of the user's address book. Any thread.

/**
 * Formats the number by the pattern: "#" takes a digit, "1" and "+" take that very character, everything else is copied
 * from the pattern. Nothing in the number is skipped, so it must consist of digits, with "+" where the pattern has one.
 * @return null when the number does not match, has another number of digits than the pattern, or either is null.
 */
[[nodiscard]] VX_EXPORT QString VXPhoneNumberWithFormat(QStringView number, QStringView pattern);

/** The number in the first of the user's formats that matches and keeps the number of digits; otherwise unchanged. */
[[nodiscard]] VX_EXPORT QString VXFormatPhoneNumber(const QString &number);

/** Whether the user wants numbers formatted: "ABPhoneFormat-Enabled" of the domain "com.apple.AddressBook". */
[[nodiscard]] VX_EXPORT bool VXAddressBookFormattingIsEnabled();

/** The user's patterns in their order: "ABPhoneFormat-PhoneFormatter" of that domain; empty if there are none. */
[[nodiscard]] VX_EXPORT QStringList VXAddressBookFormats();
