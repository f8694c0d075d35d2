#pragma once

#include "VXContactRecord.h"

#include <QtCore/QString>

#include <span>

// What a contact consists of, for cards and forms.

struct VXContactField
{
    QString VXContactRecord::*field;
    const char *title;
};
/** Those of one line of text, in the order of a form. */
[[nodiscard]] std::span<const VXContactField> VXContactTextFields();

/** The types that a number, address or page may be chosen to have; masks of VXPhonebookType. */
[[nodiscard]] std::span<const unsigned> VXContactAddressTypes(QList<VXContactRecord::Address> VXContactRecord::*list);
/** "Mobile", "Work", "Home fax"; "Other" for none. */
[[nodiscard]] QString VXContactTypeTitle(unsigned type);
