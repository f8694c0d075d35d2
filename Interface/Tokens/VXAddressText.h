#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QString>

/** "mobile", "work fax", "home" in the user's language; null for no kind. */
VX_INTERFACE_EXPORT QString VXTextOfPhonebookType(unsigned typeMask);
/** The line below a name: "+44 20 7946 0000 · mobile", for a group "3 people". */
VX_INTERFACE_EXPORT QString VXAddressLine(const QString &phonebookString);
/** The name of a phonebook string or group, or else its address. */
VX_INTERFACE_EXPORT QString VXAddressTitle(const QString &phonebookString);
