#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Whom the user writes to, and how often: kept under the user default "interface.recent-addresses", the hundred that count
 * most. Main thread only.
 */
class VX_INTERFACE_EXPORT VXRecentAddresses
{
public:
    /** Those kept, the one that counts most first: often and lately. */
    static QStringList addresses();
    /** They were used now. */
    static void noteUse(const QStringList &phonebookStrings);

    VXRecentAddresses() = delete;
};
