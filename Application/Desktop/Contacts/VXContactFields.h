#pragma once

#include "VXContactRecord.h"

#include <QtCore/QString>

#include <span>

// The parts of a contact, for cards and forms.

struct VXContactField
{
    QString VXContactRecord::*field;
    const char *title;
};
/** The fields that are one line of text, in the order of a form. */
[[nodiscard]] std::span<const VXContactField> VXContactTextFields();

/** The types that can be selected for a number, address or page; masks of VXPhonebookType. */
[[nodiscard]] std::span<const unsigned> VXContactAddressTypes(QList<VXContactRecord::Address> VXContactRecord::*list);
/** The text for showing: what is longer than `longest` characters is cut and ends with an ellipsis. */
[[nodiscard]] QString VXContactShownText(const QString &text, qsizetype longest = 256);
/** Its name, or what stands for it if it has none. */
[[nodiscard]] QString VXContactTitle(const VXContactRecord &contact);
/** "Mobile", "Work", "Home fax"; "Other" for none. */
[[nodiscard]] QString VXContactTypeTitle(unsigned type);
