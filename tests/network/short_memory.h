/// \file
/// Memory that is short for a while, for programs whose allocations a test lets fail.
#ifndef GPAL_TESTS_NETWORK_SHORT_MEMORY_H
#define GPAL_TESTS_NETWORK_SHORT_MEMORY_H

#include <cstddef>

namespace support
{

/// While it lives, allocations of at least so many bytes fail.
class ShortMemory
{
public:
    explicit ShortMemory(std::size_t smallestRefused);
    ShortMemory(const ShortMemory&) = delete;
    ShortMemory& operator=(const ShortMemory&) = delete;
    ~ShortMemory();
};

} // namespace support

#endif
