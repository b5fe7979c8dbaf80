// Packet captures: the same bytes from every processor.
#include <gpal/packet_dump.h>

#include <sys/time.h>
#include <vector>

#include "exchange.h"

// Every record is a little later than the one before, everywhere. (C libraries do not agree on the
// type of the second argument.)
extern "C" int timeOfRecord(timeval* time, void*) noexcept __asm__("gettimeofday");
extern "C" int timeOfRecord(timeval* time, void*) noexcept
{
    static int records = 0;
    ++records;
    time->tv_sec = 0x12345678 + records;
    time->tv_usec = 999990 + records;
    return 0;
}

namespace exchange
{

namespace
{

struct Packet {
    std::string payload;
    t_packet_dump_type type;
};

const std::vector<Packet>& packets()
{
    static const std::vector<Packet> all{{"", PACKET_DUMP_UDP},
                                         {"a", PACKET_DUMP_UDP},
                                         {bytes(1472), PACKET_DUMP_UDP},
                                         {bytes(256), PACKET_DUMP_TCP_FORWARD},
                                         {"", PACKET_DUMP_TCP_REVERSE},
                                         {bytes(255), PACKET_DUMP_TCP_REVERSE},
                                         {"second of its direction", PACKET_DUMP_TCP_FORWARD},
                                         {bytes(7), PACKET_DUMP_OTHER},
                                         {bytes(70000), PACKET_DUMP_OTHER},
                                         {bytes(300), static_cast<t_packet_dump_type>(7)},
                                         {bytes(65507), PACKET_DUMP_UDP}};
    return all;
}

void checkPacket(packet_dump& dump, const Packet& packet, const std::string& name)
{
    std::string buffer(70000, '#');
    auto type = static_cast<t_packet_dump_type>(-1);
    const int length = dump.read(buffer.data(), static_cast<int>(buffer.size()), &type);
    const bool ofUdp = packet.type == PACKET_DUMP_UDP;
    expect(type == (ofUdp ? PACKET_DUMP_UDP : PACKET_DUMP_OTHER), name + " has its type");
    expect(length == (ofUdp ? static_cast<int>(packet.payload.size()) : 0),
           name + " has its length, not " + std::to_string(length));
    if (ofUdp && length >= 0) {
        expect(buffer.substr(0, static_cast<std::size_t>(length)) == packet.payload,
               name + " has its payload");
    }
}

} // namespace

void writeCapture(const std::string& folder)
{
    std::string file = folder + "/capture";
    packet_dump dump(file.data());
    for (const Packet& packet : packets()) {
        std::string payload = packet.payload;
        const int length = static_cast<int>(payload.size());
        expect(dump.write(payload.data(), length, packet.type) == length, "a record is written");
    }
}

void checkCapture(const std::string& folder)
{
    std::string file = folder + "/capture";
    packet_dump dump(file.data());
    for (std::size_t i = 0; i < packets().size(); ++i) {
        checkPacket(dump, packets()[i], "record " + std::to_string(i));
    }
    char byte = 0;
    t_packet_dump_type type{};
    expect(dump.read(&byte, 1, &type) == -1, "nothing follows the last record");
}

} // namespace exchange
