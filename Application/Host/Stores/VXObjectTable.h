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
    bool leavesOut;          // columns for which the line has no room
    qsizetype batchSize;
    bool withRelatedURIs;

    /**
     * Writes the objects as a table, or as JSON, batch by batch, since there may be more of them than fit into memory.
     * Objects that somebody else deletes meanwhile are omitted. The first batch decides how much room the columns get.
     * @return what went wrong, null if nothing did.
     */
    [[nodiscard]] QString write(VXHostOutput &output) const;
};
