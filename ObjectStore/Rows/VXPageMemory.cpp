#include "VXPageMemory.h"

#include "VXMutex.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include <sys/mman.h>

namespace {

using VXPageMemory::pageSize;

constexpr size_t regionSize = 2 << 20; // the size of a huge page, if the system provides them

// Limits for empty regions, which may soon be reused:
constexpr size_t mostKept = 32;    // kept as they are
constexpr size_t mostMapped = 128; // including those; of the others the system may reclaim the memory

bool isOfPage(size_t size)
{
    return !VXPageMemory::isChecked && size > pageSize / 2 && size <= pageSize;
}

/** The header of a region, in its first page. */
class Region
{
public:
    /** In newly mapped memory, or in an empty region, of which nothing is needed any more. */
    static Region *make(void *memory) { return new (memory) Region; }
    /** Maps memory for a region; nullptr when there is none. `isOneOfMany`: the system may provide a huge page. */
    static void *map(bool isOneOfMany);
    static void unmap(void *region) { ::munmap(region, regionSize); }
    static Region *of(void *page)
    {
        return reinterpret_cast<Region *>(static_cast<std::byte *>(page) - offsetOf(page));
    }

    bool isFull() const { return _freeCount == 0; }
    bool isEmpty() const { return _freeCount == pageCount - 1; }
    /** Takes the first free page, so that successive pages are mostly adjacent. */
    void *take()
    {
        const auto word = std::find_if(_free.begin(), _free.end(), [](std::uint64_t bits) { return bits != 0; });
        const auto bit = size_t(std::countr_zero(*word));
        *word &= *word - 1;
        --_freeCount;
        return reinterpret_cast<std::byte *>(this) + (size_t(word - _free.begin()) * 64 + bit) * pageSize;
    }
    void giveBack(void *page)
    {
        const size_t place = offsetOf(page) / pageSize;
        _free[place / 64] |= std::uint64_t(1) << place % 64;
        ++_freeCount;
    }

private:
    static constexpr size_t pageCount = regionSize / pageSize;

    static size_t offsetOf(const void *address) { return reinterpret_cast<std::uintptr_t>(address) % regionSize; }

    Region()
    {
        _free.fill(~std::uint64_t(0));
        _free[0] &= ~std::uint64_t(1); // the region's header
    }

    std::array<std::uint64_t, pageCount / 64> _free; // a bit for each page
    size_t _freeCount = pageCount - 1;
};

// mmap aligns to pages only: maps twice the size and keeps an aligned part.
void *Region::map(bool isOneOfMany)
{
    void *const mapped =
        ::mmap(nullptr, 2 * regionSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    auto *const begin = static_cast<std::byte *>(mapped);
    const size_t before = (regionSize - offsetOf(mapped)) % regionSize;
    if (before > 0)
        ::munmap(begin, before);
    ::munmap(begin + before + regionSize, regionSize - before);
    if (isOneOfMany)
        ::madvise(begin + before, regionSize, MADV_HUGEPAGE); // a failure only costs time
    return begin + before;
}

class Pages
{
public:
    static Pages &shared()
    {
        static auto &pages = *new Pages; // never freed: objects may be released after everything else has ended
        return pages;
    }

    void *take()
    {
        if (void *const page = takeWithLock(nullptr); page != nullptr)
            return page;
        void *const more = Region::map(usedBytes() > 0); // without the lock, since the system takes a while
        if (more == nullptr)
            throw std::bad_alloc();
        return takeWithLock(Region::make(more));
    }

    void giveBack(void *page)
    {
        void *const empty = giveBackWithLock(page);
        if (empty == nullptr)
            return;
        ::madvise(empty, regionSize, MADV_FREE); // the system reclaims it when it is short of memory
        if (!keep(empty, mostMapped))
            Region::unmap(empty);
    }

    size_t usedBytes()
    {
        const VXMutexLocker locker(_lock);
        return _usedCount * pageSize;
    }

private:
    /** @return nullptr when there is no free page, which cannot be with `more`. */
    void *takeWithLock(Region *more)
    {
        const VXMutexLocker locker(_lock);
        if (more == nullptr && _withRoom.empty() && !_empty.empty()) {
            more = Region::make(_empty.back());
            _empty.pop_back();
        }
        if (more != nullptr)
            _withRoom.push_back(more);
        if (_withRoom.empty())
            return nullptr;
        ++_usedCount;
        void *const page = _withRoom.back()->take();
        if (_withRoom.back()->isFull())
            _withRoom.pop_back();
        return page;
    }

    /** @return the memory of a region that is empty and in excess; otherwise nullptr. */
    void *giveBackWithLock(void *page)
    {
        const VXMutexLocker locker(_lock);
        Region *const region = Region::of(page);
        if (region->isFull())
            _withRoom.push_back(region);
        region->giveBack(page);
        --_usedCount;
        if (!region->isEmpty())
            return nullptr;
        std::erase(_withRoom, region);
        return keepWithLock(region, mostKept) ? nullptr : region;
    }

    bool keep(void *empty, size_t most)
    {
        const VXMutexLocker locker(_lock);
        return keepWithLock(empty, most);
    }

    bool keepWithLock(void *empty, size_t most) VX_REQUIRES(_lock)
    {
        const bool isKept = _empty.size() < most;
        if (isKept)
            _empty.push_back(empty);
        return isKept;
    }

    VXMutex _lock;
    std::vector<Region *> _withRoom VX_GUARDED_BY(_lock); // neither full nor empty, except while one is taken from
    std::vector<void *> _empty VX_GUARDED_BY(_lock);      // memory of regions without used pages
    size_t _usedCount VX_GUARDED_BY(_lock) = 0;           // pages
};

} // namespace

void *VXPageMemory::allocate(size_t size)
{
    if (isOfPage(size))
        return Pages::shared().take();
    void *const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void VXPageMemory::release(void *memory, size_t size)
{
    if (isOfPage(size))
        Pages::shared().giveBack(memory);
    else
        std::free(memory);
}

size_t VXPageMemory::usedBytes()
{
    return Pages::shared().usedBytes();
}
