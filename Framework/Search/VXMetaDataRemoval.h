#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Removes what was mirrored of objects that are no longer to be searched: files, index entries, and what is owed.
 * Anything that somebody else has put among the files goes to the trash. Any thread, any process.
 */
class VX_EXPORT VXMetaDataRemoval
{
public:
    VXMetaDataRemoval() = delete;

    /** Identifiers of the syncs of which anything is left. */
    static QStringList identifiers();
    /** Removes everything of that sync. True, without creating anything, when there is nothing. False, logged, when
     *  something could not be removed. */
    static bool remove(const QString &identifier);
};
