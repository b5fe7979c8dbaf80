#include "capture_file.h"

namespace capture
{
namespace
{

unsigned int byteAt(const std::string& text, std::size_t position)
{
    return static_cast<unsigned char>(text.at(position));
}

unsigned int littleEndianAt(const std::string& text, std::size_t position)
{
    return byteAt(text, position) | byteAt(text, position + 1) << 8 |
           byteAt(text, position + 2) << 16 | byteAt(text, position + 3) << 24;
}

std::string ipv4(unsigned int protocol)
{
    return bytes("4500 0000 0000 4000 40") + static_cast<char>(protocol) +
           bytes("0000 C0000201 C0000202");
}

} // namespace

std::string littleEndianLong(unsigned int value)
{
    return {static_cast<char>(value), static_cast<char>(value >> 8), static_cast<char>(value >> 16),
            static_cast<char>(value >> 24)};
}

std::string networkShort(unsigned int value)
{
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string bytes(const std::string& hexadecimal)
{
    std::string digits;
    for (const char digit : hexadecimal) {
        if (digit != ' ') {
            digits += digit;
        }
    }
    std::string result;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        result += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return result;
}

std::string fileHeader()
{
    return bytes("D4C3B2A1 0200 0400 00000000 00000000 FFFF0000 01000000");
}

std::string record(const std::string& packet, unsigned int capturedLength)
{
    return littleEndianLong(1) + littleEndianLong(2) + littleEndianLong(capturedLength) +
           littleEndianLong(capturedLength) + packet;
}

std::string record(const std::string& packet)
{
    return record(packet, static_cast<unsigned int>(packet.size()));
}

std::string packet(unsigned int protocol, const std::string& rest)
{
    return bytes("020000000001 020000000002 0800") + ipv4(protocol) + rest;
}

std::string taggedPacket(unsigned int protocol, const std::string& rest)
{
    return bytes("020000000001 020000000002 8100 0007 0800") + ipv4(protocol) + rest;
}

std::string udp(const std::string& payload)
{
    return bytes("1400 1400") + networkShort(static_cast<unsigned int>(payload.size()) + 8) +
           bytes("0000") + payload;
}

std::vector<Record> records(const std::string& file)
{
    std::vector<Record> found;
    for (std::size_t at = 24; at < file.size();) {
        Record next{littleEndianAt(file, at + 8), littleEndianAt(file, at + 12),
                    littleEndianAt(file, at), littleEndianAt(file, at + 4), ""};
        next.packet = file.substr(at + 16, next.capturedLength);
        found.push_back(next);
        at += 16 + next.capturedLength;
    }
    return found;
}

Read readFrom(packet_dump& dump, int size)
{
    std::string buffer(size > 0 ? static_cast<std::size_t>(size) : 1, '\0');
    auto type = static_cast<t_packet_dump_type>(UNTOUCHED);
    const int result = dump.read(buffer.data(), size, &type);
    return {result, type, buffer.substr(0, result > 0 ? static_cast<std::size_t>(result) : 0)};
}

std::vector<Read> readAll(const std::string& file)
{
    std::string name = file;
    packet_dump dump(name.data());
    std::vector<Read> all;
    do {
        all.push_back(readFrom(dump));
    } while (all.back().result != -1);
    return all;
}

unsigned int internetSum(const std::string& header)
{
    unsigned int sum = 0;
    for (std::size_t i = 0; i + 1 < header.size(); i += 2) {
        sum += byteAt(header, i) << 8 | byteAt(header, i + 1);
    }
    while (sum >> 16 != 0) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return sum;
}

} // namespace capture
