#pragma once

#include "VXFetchResult.h"

#include <QtCore/QString>

class VXHostOutput;
class VXManagedObjectContext;

/** A fetch that was carried out, and how to show what it found. */
struct VXStoreListing
{
    VXManagedObjectContext &context;
    const VXEntityDescription &entity;
    const VXFetchResult &result;
    qsizetype batchSize;
    bool withRelatedURIs;

    /**
     * Writes the objects as a table, or as JSON, batch by batch: there may be more of them than memory has room for. Those that
     * somebody else deletes meanwhile are left out. @return what went wrong, null when nothing did.
     */
    [[nodiscard]] QString write(VXHostOutput &output) const;
};
