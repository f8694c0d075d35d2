#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The phonebook strings and groups in what people paste: parted by commas, semicolons, tabs and line ends; "Name <number>", also
 * with the name in quotes; vCards, of which each gives its best number or else address; "tel:", "sms:" and "mailto:" links. What
 * is no address comes as it stands. Any thread.
 */
[[nodiscard]] VX_EXPORT QStringList VXAddressesFromPastedText(const QString &text);
