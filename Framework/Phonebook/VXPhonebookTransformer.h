#pragma once

#include "VXFrameworkExport.h"
#include "VXValueTransformer.h"

#include <QtCore/QString>

/**
 * How a phonebook string is shown: by its name, else by its address, a phone number in the user's address-book format.
 * A text that is no phonebook string is shown as it is; null stays null. Any thread.
 */
[[nodiscard]] VX_EXPORT QString VXDisplayStringForPhonebookString(const QString &text);

/** Shows a phonebook string as above. Other values than texts give nothing. */
class VX_EXPORT VXPhonebookStringTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};

/** Shows a list, as that of a message's recipients: its items as above, a group by its name, with ", " between. */
class VX_EXPORT VXPhonebookTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};
