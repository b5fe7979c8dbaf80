/// \file
/// What the C library has given out of its heap.
#ifndef GPAL_TESTS_SUPPORT_HEAP_H
#define GPAL_TESTS_SUPPORT_HEAP_H

#include <cstddef>

namespace support
{

struct HeapInUse {
    std::size_t inArena;
    std::size_t mapped; ///< blocks so large that each has a mapping of its own
};

HeapInUse heapInUse();

} // namespace support

#endif
