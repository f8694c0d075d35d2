#pragma once

#include "VXStoreRow.h"

#include <memory>

/**
 * Makes the rows of one fetch. Several lie in one piece of memory, a page, which lives as long as one of them: a fetch of many
 * asks for memory far less often.
 */
class VX_STORE_EXPORT VXStoreRowBatch
{
public:
    /** A row to be filled; the same one each time. */
    VXStoreRow &next(int propertyCount, qint64 version)
    {
        _row.start(propertyCount, version);
        return _row;
    }
    /** What it was filled with. */
    VXStoreRow::Ptr finish();

private:
    VXStoreRow _row = VXStoreRow(0, 1);
    std::shared_ptr<std::uint64_t[]> _page;
    size_t _used = 0; // of the page, in bytes
    size_t _capacity = 0;
};
