#include <cstdint>

#include <gpal/packet_dump.h>

namespace
{

std::uint32_t folded(std::uint32_t sum)
{
    return (sum & 0xFFFF) + (sum >> 16);
}

} // namespace

unsigned short checksum_1(unsigned char* data, int length)
{
    if (data == nullptr) {
        length = 0;
    }
    std::uint32_t sum = 0;
    for (; length >= 2; length -= 2, data += 2) {
        sum += static_cast<std::uint32_t>(data[0] << 8 | data[1]);
        if (sum >> 31 != 0) {
            sum = folded(sum);
        }
    }
    // An odd byte is deliberately not moved into the high half: kept, as the result is part of the
    // interface. The headers that are summed here have even lengths.
    if (length == 1) {
        sum += *data;
    }
    while (sum >> 16 != 0) {
        sum = folded(sum);
    }
    return static_cast<unsigned short>(~sum & 0xFFFF);
}
