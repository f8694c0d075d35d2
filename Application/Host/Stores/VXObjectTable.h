#pragma once

#include "VXFetchResult.h"
#include "VXObjectColumns.h"

#include <QtCore/QString>

class VXHostOutput;
class VXManagedObjectContext;

/** A fetch that was carried out, and how to show what it found. */
struct VXObjectTable
{
    VXManagedObjectContext &context;
    const VXFetchResult &result;
    VXObjectColumns columns; // of the table
    bool leavesOut;          // those columns that the line has no room for
    qsizetype batchSize;
    bool withRelatedURIs;

    /**
     * Writes the objects as a table, or as JSON, batch by batch: there may be more of them than memory has room for. Those that
     * somebody else deletes meanwhile are left out. What room there is for columns the first batch decides. @return what went wrong, null when nothing did.
     */
    [[nodiscard]] QString write(VXHostOutput &output) const;
};
