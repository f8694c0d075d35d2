#pragma once

#include <cstddef>

/**
 * Memory of managed objects, and of rows that are made or changed, which come and go by the thousand: what a thread makes of
 * them in turn lies side by side in a page, which is given back with the last of it, by whatever thread. One that is held on to
 * keeps a page of 4 KiB.
 */
namespace VXObjectMemory {

void *allocate(size_t size);
void release(void *memory);

} // namespace VXObjectMemory
