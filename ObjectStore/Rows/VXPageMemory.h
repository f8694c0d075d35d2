#pragma once

#include "VXObjectStoreExport.h"

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VX_ADDRESS_SANITIZER
#endif
#endif

/**
 * Memory for objects that are made and destroyed by the thousand. Pages are adjacent in regions of 2 MiB; malloc would
 * request those of a thread one by one from the system, which blocks all other threads, and fragment them over time. Of
 * regions without used pages 64 MiB are kept, and another 192 MiB until the system is short of memory. Any thread.
 */
namespace VXPageMemory {

constexpr size_t pageSize = 4096;

/** Whether all memory comes from malloc, so that uses after free are detected. */
#if defined(__SANITIZE_ADDRESS__) || defined(VX_ADDRESS_SANITIZER)
constexpr bool isChecked = true;
#else
constexpr bool isChecked = false;
#endif

/** Allocates a page for a size that takes up most of one; smaller and larger sizes come from malloc. */
[[nodiscard]] VX_STORE_EXPORT void *allocate(size_t size);
/** `size`: the size that was requested. */
VX_STORE_EXPORT void release(void *memory, size_t size);
/** The bytes in pages that are in use. For measurements. */
[[nodiscard]] VX_STORE_EXPORT size_t usedBytes();

} // namespace VXPageMemory
