#pragma once

#include "VXStoreRow.h"

#include <memory>

/**
 * Makes the rows of one fetch. Several lie in one piece of memory, which lives as long as one of them: a fetch of many asks for
 * memory far less often.
 */
class VXStoreRowBatch
{
public:
    /** To be filled, and then shared. All rows of a batch may differ in their number of properties. */
    std::shared_ptr<VXStoreRow> next(int propertyCount, qint64 version);

private:
    struct Block;

    std::shared_ptr<Block> _block;
};
