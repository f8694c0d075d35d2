#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * The type mask of a phone number or e-mail address: the kind, a value in the low 6 bits, and two bits for the
 * location. Stored as an integer with the address.
 */
enum VXPhonebookType : unsigned {
    VXPhonebookTypeNone = 0,
    VXPhonebookTypeFax = 1,
    VXPhonebookTypeMobile = 2,
    VXPhonebookTypePager = 3,
    VXPhonebookTypePrimary = 63,
    VXPhonebookTypeKindMask = 63,
    VXPhonebookTypeHome = 64,
    VXPhonebookTypeWork = 128,
    VXPhonebookTypeLocationMask = VXPhonebookTypeHome | VXPhonebookTypeWork,
};

/**
 * Whether every character is one of "HW!mfp"; true for the empty text, false for null. Any thread, like everything
 * here.
 */
[[nodiscard]] VX_EXPORT bool VXIsValidPhonebookType(QStringView letters);

/** The mask for the letters, with kinds combined bit by bit: "fm" is a pager. Other characters are ignored. */
[[nodiscard]] VX_EXPORT unsigned VXPhonebookTypeMaskFromString(QStringView letters);

/** The letters for a mask, the location first; null if it has none (also for both locations, and for unknown kinds). */
[[nodiscard]] VX_EXPORT QString VXStringFromPhonebookTypeMask(unsigned mask);
