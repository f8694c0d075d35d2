#pragma once

#include "VXStoreRow.h"

#include <memory>

/**
 * Makes the rows of one fetch. Several rows share a page of memory, which lives as long as one of them; so a large
 * fetch allocates memory far less often.
 */
class VX_STORE_EXPORT VXStoreRowBatch
{
public:
    /** A row to be filled; the same object each time. */
    VXStoreRow &next(int propertyCount, qint64 version)
    {
        _row.start(propertyCount, version);
        return _row;
    }
    /** The row with what was filled in. */
    VXStoreRow::Ptr finish();

private:
    VXStoreRow _row = VXStoreRow(0, 1);
    std::shared_ptr<std::uint64_t[]> _page;
    size_t _used = 0; // of the page, in bytes
    size_t _capacity = 0;
};
