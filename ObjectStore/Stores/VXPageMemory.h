#pragma once

#include "VXObjectStoreExport.h"

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VX_ADDRESS_SANITIZER
#endif
#endif

/**
 * Memory for what comes and goes by the thousand. Pages lie side by side in regions of 2 MiB: malloc asks the system for those of
 * a thread one by one, for which all other threads wait, and has them in no order once it was much used. Of regions
 * without a page in use 64 MiB stay, and another 192 MiB until the system is short of memory. Any thread.
 */
namespace VXPageMemory {

constexpr size_t pageSize = 4096;

/** Whether all comes from malloc, so that it is seen who uses what is gone. */
#if defined(__SANITIZE_ADDRESS__) || defined(VX_ADDRESS_SANITIZER)
constexpr bool isChecked = true;
#else
constexpr bool isChecked = false;
#endif

/** A page for what takes most of one; whatever is smaller or larger comes from malloc. */
[[nodiscard]] VX_STORE_EXPORT void *allocate(size_t size);
/** `size`: as it was asked for. */
VX_STORE_EXPORT void release(void *memory, size_t size);
/** Of the pages in use. For measurements. */
[[nodiscard]] VX_STORE_EXPORT size_t usedBytes();

} // namespace VXPageMemory
