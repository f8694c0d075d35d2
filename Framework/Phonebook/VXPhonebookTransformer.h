#pragma once

#include "VXFrameworkExport.h"
#include "VXValueTransformer.h"

#include <QtCore/QString>

/**
 * The text to show for a phonebook string: its name, or else its address; a phone number in the user's address-book
 * format. A text that is no phonebook string is returned unchanged; null stays null. Any thread.
 */
[[nodiscard]] VX_EXPORT QString VXDisplayStringForPhonebookString(const QString &text);

/** Converts a phonebook string as above. Values other than texts give nothing. */
class VX_EXPORT VXPhonebookStringTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};

/** Converts a list, such as a message's recipients: the items as above, groups by name, joined by ", ". */
class VX_EXPORT VXPhonebookTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};
