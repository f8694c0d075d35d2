#include "VXStoreRowBatch.h"

#include <algorithm>

namespace {

constexpr size_t largestPage = 8 << 10; // in bytes, of several rows: one row that is kept holds on to all of them

} // namespace

VXStoreRow::Ptr VXStoreRowBatch::finish()
{
    if (_row._hasOthers)
        return _row.copy(_row.version());
    const size_t size = sizeof(VXStoreRow) + _row._used;
    if (_capacity - _used < size) {
        _capacity = std::max(size, std::min(_capacity * 2, largestPage));
        _page = std::make_shared_for_overwrite<std::uint64_t[]>(_capacity / sizeof(std::uint64_t));
        _used = 0;
    }
    auto *const place = reinterpret_cast<std::byte *>(_page.get()) + _used;
    _used += size;
    return {_page, new (place) VXStoreRow(_row, place + sizeof(VXStoreRow))};
}
