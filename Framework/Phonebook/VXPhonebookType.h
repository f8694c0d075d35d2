#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * The type mask of a phone number or e-mail address: the kind, a value in the low 6 bits, and the two bits of
 * the location. Stored as an integer with the address.
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

/** True if every character is one of "HW!mfp", so for the empty text; false for null. Any thread, as all here. */
[[nodiscard]] VX_EXPORT bool VXIsValidPhonebookType(QStringView letters);

/** The mask that letters stand for, kinds combined bit by bit: "fm" is a pager. Other characters add nothing. */
[[nodiscard]] VX_EXPORT unsigned VXPhonebookTypeMaskFromString(QStringView letters);

/** The letters of a mask, the location first; null when it has none (for both locations and unknown kinds, too). */
[[nodiscard]] VX_EXPORT QString VXStringFromPhonebookTypeMask(unsigned mask);
