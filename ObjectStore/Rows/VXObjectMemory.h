#pragma once

#include <cstddef>

/**
 * Memory of managed objects, and of rows that are made or changed, which come and go by the thousand: what a thread makes of
 * them in turn lies side by side in a page, which is given back with the last of it, by whatever thread. One that is held on to
 * keeps a page of 4 KiB.
 */
namespace VXObjectMemory {

/** Each has pages of its own: rows may stay in a store when the objects are long gone. */
enum class Kind { Object, Row };

void *allocate(Kind kind, size_t size);
void release(void *memory);

} // namespace VXObjectMemory
