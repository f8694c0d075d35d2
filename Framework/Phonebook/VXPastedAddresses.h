#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The phonebook strings and groups in text that people paste: separated by commas, semicolons, tabs and line ends;
 * "Name <number>", with the name perhaps in quotes; vCards, of which each gives its best number, or else address;
 * "tel:", "sms:" and "mailto:" links. What is no address is returned unchanged. Any thread.
 */
[[nodiscard]] VX_EXPORT QStringList VXAddressesFromPastedText(const QString &text);
