#include <malloc.h>

#include "support/heap.h"

namespace support
{

HeapInUse heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return {heap.uordblks, heap.hblkhd};
}

} // namespace support
