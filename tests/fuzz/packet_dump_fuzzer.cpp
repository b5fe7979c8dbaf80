/// \file
/// Reads a capture file of any content to its end. The first byte is the buffer's size.
#include <gpal/packet_dump.h>

#include <cstdio>
#include <vector>

#include "check.h"
#include "memory_file.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // Every record that is too big is reported there.
    return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const fuzz::MemoryFile file;
    if (size == 0) {
        return 0;
    }
    std::vector<char> buffer(*data);
    std::string name = file.with(data + 1, size - 1);
    packet_dump dump(name.data());
    int result = 0;
    while (result != -1) {
        auto type = static_cast<t_packet_dump_type>(-1);
        result = dump.read(buffer.data(), static_cast<int>(buffer.size()), &type);
        const bool isRecord = type == PACKET_DUMP_UDP || type == PACKET_DUMP_OTHER;
        fuzz::check(result >= -1 && result <= static_cast<int>(buffer.size()));
        fuzz::check(result < 0 || isRecord);
        fuzz::check(type != PACKET_DUMP_OTHER || result == 0);
    }
    return 0;
}
