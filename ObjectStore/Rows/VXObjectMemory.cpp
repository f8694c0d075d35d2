#include "VXObjectMemory.h"

#include "VXPageMemory.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

namespace {

constexpr size_t alignment = 16;
constexpr size_t largestShared = VXPageMemory::isChecked ? 0 : 512; // in bytes, of objects that share pages

constexpr size_t aligned(size_t size)
{
    return (size + alignment - 1) & ~(alignment - 1);
}

/** A page in which a thread allocates objects. Each is preceded by a pointer to its page. */
class Page
{
public:
    static constexpr size_t sizeFor(size_t object) { return firstPlace() + object; }
    static Page *make(size_t size) { return new (VXPageMemory::allocate(size)) Page(size); }
    /** nullptr when the page is full. */
    void *allocate(size_t size)
    {
        if (_next + size > _size)
            return nullptr;
        auto *const memory = reinterpret_cast<std::byte *>(this) + _next;
        pageOf(memory) = this;
        _next = aligned(_next + size + sizeof(Page *));
        ++_made;
        return memory;
    }
    /** No more objects are allocated in it. */
    void close() { letGo(unlimited - _made); }
    static void release(void *memory) { pageOf(memory)->letGo(1); }

private:
    explicit Page(size_t size) : _size(size) {}

    static constexpr std::int64_t unlimited = std::int64_t(1) << 40;

    static constexpr size_t firstPlace() { return aligned(sizeof(Page) + sizeof(Page *)); }
    static Page *&pageOf(void *memory) { return *(static_cast<Page **>(memory) - 1); }
    void letGo(std::int64_t count)
    {
        if (_holders.fetch_sub(count, std::memory_order_acq_rel) == count)
            VXPageMemory::release(this, _size);
    }

    std::atomic<std::int64_t> _holders = unlimited; // its objects and, until it is closed, those it may yet get
    std::int64_t _made = 0;
    size_t _next = firstPlace(); // where the next object goes
    const size_t _size;
};

/** The page in which a thread allocates its next objects. */
struct OpenPage
{
    ~OpenPage() { replace(nullptr); }
    void replace(Page *next)
    {
        if (Page *const before = std::exchange(page, next); before != nullptr)
            before->close();
    }

    Page *page = nullptr;
};

thread_local std::array<OpenPage, 2> openPages; // by kind

} // namespace

void *VXObjectMemory::allocate(Kind kind, size_t size)
{
    if (size > largestShared) {
        Page *const own = Page::make(Page::sizeFor(size));
        void *const memory = own->allocate(size);
        own->close();
        return memory;
    }
    OpenPage &open = openPages.at(size_t(kind));
    void *memory = open.page == nullptr ? nullptr : open.page->allocate(size);
    if (memory == nullptr) {
        open.replace(Page::make(VXPageMemory::pageSize));
        memory = open.page->allocate(size);
    }
    return memory;
}

void VXObjectMemory::release(void *memory)
{
    Page::release(memory);
}
