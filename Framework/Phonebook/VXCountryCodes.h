#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringView>

#include <array>

/** How many entries VXPhonebookCountryCodes has. */
inline constexpr qsizetype VXPhonebookCountryCodesCount = 258;

/**
 * Country calling codes (ITU-T E.164), with the area codes of the Caribbean and the codes of the satellite
 * services, in the order in which they are tried. Some are there twice; 1 itself is not.
 */
VX_EXPORT extern const std::array<quint32, VXPhonebookCountryCodesCount> VXPhonebookCountryCodes;

/**
 * How many UTF-16 units at the start of the digits are a country code: those that the first entry of the
 * table to equal the value of the first 1, 2, 3, 4 or 5 digits takes. Leading zeros count as digits, but not
 * in the value. 0 when no entry fits. Digits of any script; reading stops at the first other character.
 */
VX_EXPORT qsizetype VXCountryCodeLength(QStringView digits);
