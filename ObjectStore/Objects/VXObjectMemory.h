#pragma once

#include <cstddef>

/**
 * Memory of managed objects, which come and go by the thousand: those that a thread makes one after the other share a page, which
 * is given back with the last of them, by whatever thread. One object that is held on to keeps a page of 4 KiB.
 */
namespace VXObjectMemory {

void *allocate(size_t size);
void release(void *memory);

} // namespace VXObjectMemory
