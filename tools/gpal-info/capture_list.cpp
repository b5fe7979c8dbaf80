#include "capture_list.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <gpal/packet_dump.h>
#include <vector>

namespace gpalinfo
{
namespace
{

constexpr std::size_t LARGEST_RECORD = 65535;
constexpr int SHOWN_BYTES = 16;

/// Why the file is none that can be listed; "" if it is one.
std::string whyNotACapture(const std::string& file)
{
    static const char MAGIC[] = {'\xD4', '\xC3', '\xB2', '\xA1'};
    std::ifstream stream(file, std::ios::binary);
    if (!stream.is_open()) {
        return std::strerror(errno);
    }
    char first[sizeof MAGIC] = "";
    stream.read(first, sizeof first);
    return std::equal(first, first + sizeof first, MAGIC) ? "" : "not a packet capture file";
}

void printRecord(int number, const char* payload, int length, t_packet_dump_type type)
{
    if (type != PACKET_DUMP_UDP) {
        std::printf("%6d  other\n", number);
        return;
    }
    std::printf("%6d  UDP %5d bytes ", number, length);
    for (int i = 0; i < std::min(length, SHOWN_BYTES); ++i) {
        std::printf(" %02x", static_cast<unsigned char>(payload[i]));
    }
    std::printf("%s\n", length > SHOWN_BYTES ? " ..." : "");
}

} // namespace

bool printCapture(const std::string& file)
{
    const std::string reason = whyNotACapture(file);
    if (!reason.empty()) {
        std::fprintf(stderr, "gpal-info: %s: %s\n", file.c_str(), reason.c_str());
        return false;
    }
    std::string name = file;
    packet_dump capture(name.data());
    std::vector<char> payload(LARGEST_RECORD);
    t_packet_dump_type type = PACKET_DUMP_OTHER;
    int records = 0;
    long long bytes = 0;
    for (int length = 0;
         (length = capture.read(payload.data(), static_cast<int>(payload.size()), &type)) != -1;) {
        printRecord(++records, payload.data(), length, type);
        bytes += length;
    }
    std::printf("%d records, %lld bytes of UDP payload\n", records, bytes);
    return true;
}

} // namespace gpalinfo
