#pragma once

#include <cstddef>

/**
 * Memory for managed objects, which are made and destroyed by the thousand: objects made in succession by a thread
 * share a page, which is freed with the last of them, by any thread. So a single object that is kept may occupy a page
 * of 4 KiB.
 */
namespace VXObjectMemory {

void *allocate(size_t size);
void release(void *memory);

} // namespace VXObjectMemory
