#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The addresses that the user writes to, and how often: the hundred with the highest weight, stored under the user
 * default "interface.recent-addresses". Main thread only.
 */
class VX_INTERFACE_EXPORT VXRecentAddresses
{
public:
    /** The stored addresses, highest weight first: used often and recently. */
    static QStringList addresses();
    /** Records that these were used now. */
    static void noteUse(const QStringList &phonebookStrings);

    VXRecentAddresses() = delete;
};
