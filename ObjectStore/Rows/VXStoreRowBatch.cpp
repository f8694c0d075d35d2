#include "VXStoreRowBatch.h"

#include "VXPageMemory.h"

#include <algorithm>

namespace {

constexpr size_t ofPointer = 48; // bytes at most that std::shared_ptr adds
// for several rows: a single one that is kept alive keeps the whole page
constexpr size_t largestPage = VXPageMemory::pageSize - ofPointer;

template <class T>
struct Allocator
{
    using value_type = T;

    Allocator() = default;
    template <class U>
    Allocator(const Allocator<U> &)
    {
    }
    T *allocate(size_t count) { return static_cast<T *>(VXPageMemory::allocate(count * sizeof(T))); }
    void deallocate(T *memory, size_t count) { VXPageMemory::release(memory, count * sizeof(T)); }
    template <class U>
    friend bool operator==(const Allocator &, const Allocator<U> &)
    {
        return true;
    }
};

} // namespace

VXStoreRow::Ptr VXStoreRowBatch::finish()
{
    if (_row._hasOthers)
        return _row.copy(_row.version());
    const size_t size = sizeof(VXStoreRow) + _row._used;
    if (_capacity - _used < size) {
        _capacity = std::max(size, std::min(_capacity * 2, largestPage));
        _page = std::allocate_shared_for_overwrite<std::uint64_t[]>(Allocator<std::uint64_t>(),
                                                                    _capacity / sizeof(std::uint64_t));
        _used = 0;
    }
    auto *const place = reinterpret_cast<std::byte *>(_page.get()) + _used;
    _used += size;
    return {_page, new (place) VXStoreRow(_row, place + sizeof(VXStoreRow))};
}
