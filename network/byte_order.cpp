#include <cstdint>
#include <cstring>

#include <gpal/packet_dump.h>

#include "base/walkable.h"

GPAL_WALKABLE int host_to_little_endian_long(int value)
{
    const auto bits = static_cast<std::uint32_t>(value);
    const unsigned char bytes[] = {
        static_cast<unsigned char>(bits), static_cast<unsigned char>(bits >> 8),
        static_cast<unsigned char>(bits >> 16), static_cast<unsigned char>(bits >> 24)};
    std::memcpy(&value, bytes, sizeof bytes);
    return value;
}

int little_endian_to_host_long(int value)
{
    return host_to_little_endian_long(value); // bytes reversed twice, or not at all
}
