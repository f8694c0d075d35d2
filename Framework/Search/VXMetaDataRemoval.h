#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Takes away what was mirrored of objects that nobody is to search any more: files, entries of the index, and what is owed.
 * What somebody else has put between the files goes to the trash. Any thread, any process.
 */
class VX_EXPORT VXMetaDataRemoval
{
public:
    VXMetaDataRemoval() = delete;

    /** Of which syncs something is there, by their identifiers. */
    static QStringList identifiers();
    /** True when nothing is there, and nothing is made then. False, logged, when something stays. */
    static bool remove(const QString &identifier);
};
