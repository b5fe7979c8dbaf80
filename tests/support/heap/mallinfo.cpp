#include <malloc.h>

#include "support/heap.h"

namespace support
{

/// The counts are of type int, which is enough for 32 bits.
HeapInUse heapInUse()
{
    const struct mallinfo heap = mallinfo();
    return {static_cast<std::size_t>(heap.uordblks), static_cast<std::size_t>(heap.hblkhd)};
}

} // namespace support
