#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringView>

#include <array>

/** How many entries VXPhonebookCountryCodes has. */
inline constexpr qsizetype VXPhonebookCountryCodesCount = 258;

/**
 * Country calling codes (ITU-T E.164), including the area codes of the Caribbean and the codes of satellite services,
 * in the order in which they are tried. Some are listed twice; 1 itself is not.
 */
VX_EXPORT extern const std::array<quint32, VXPhonebookCountryCodesCount> VXPhonebookCountryCodes;

/**
 * The number of UTF-16 units at the start of the digits that form a country code: those matched by the first entry of
 * the table that equals the value of the first 1, 2, 3, 4 or 5 digits. Leading zeros count as digits, but not in the
 * value. 0 when no entry matches. Digits of any script; reading stops at the first other character.
 */
VX_EXPORT qsizetype VXCountryCodeLength(QStringView digits);
