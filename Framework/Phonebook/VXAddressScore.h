#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/** What is said of a number or e-mail address, by who looks it up or by a contact that has it. A value; any thread. */
struct VX_EXPORT VXAddressTraits
{
    /** Name and type may be empty and 0 for none. */
    VXAddressTraits(const QString &nameBeside, const QString &address, unsigned typeMask);

    QString name; // without case and diacritics
    QString
        abroad; // a number as dialled from abroad, without access code; null for one without its country, and for e-mail addresses
    QString extension; // of a number; empty for none
    unsigned type = 0;
};

/**
 * How well an address that a contact has answers a look-up, of several with the same look-up string. The highest is the best; of
 * equal ones that of the contact added first. Preferred are, in this order, those with the name, the same country, the same extension or none, and
 * the type, and then those about whom more is known (VXPhonebookEntry::informativeValue); a number of another country comes last. Look-ups in the store and names of what a
 * search finds both go by it. Appends to `reasons`, if given, what contributes, in the user's language.
 */
[[nodiscard]] VX_EXPORT double VXAddressScore(const VXAddressTraits &lookedUp, const VXAddressTraits &kept,
                                              double known, QStringList *reasons = nullptr);
