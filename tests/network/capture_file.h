/// \file
/// Capture files as other programs write them, byte by byte.
#ifndef GPAL_TESTS_NETWORK_CAPTURE_FILE_H
#define GPAL_TESTS_NETWORK_CAPTURE_FILE_H

#include <string>
#include <vector>

#include <gpal/packet_dump.h>
#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace capture
{

std::string littleEndianLong(unsigned int value);
std::string networkShort(unsigned int value);

/// The bytes that the text spells in hexadecimal; spaces are skipped.
std::string bytes(const std::string& hexadecimal);

std::string fileHeader();

/// A record with its header, which need not tell the truth about the length.
std::string record(const std::string& packet, unsigned int capturedLength);
std::string record(const std::string& packet);

/// An Ethernet and IPv4 header, then \p rest.
std::string packet(unsigned int protocol, const std::string& rest);
/// The same with an 802.1Q tag.
std::string taggedPacket(unsigned int protocol, const std::string& rest);

/// A UDP header, then the payload.
std::string udp(const std::string& payload);

/// One record of a file as `packet_dump` wrote it.
struct Record {
    unsigned int capturedLength;
    unsigned int lengthOnTheWire;
    unsigned int seconds;
    unsigned int microseconds;
    std::string packet;
};

/// Takes a file apart that must consist of whole records.
std::vector<Record> records(const std::string& file);

/// What one `read` gives.
struct Read {
    int result;
    int type;
    std::string payload;
    bool operator==(const Read& other) const
    {
        return result == other.result && type == other.type && payload == other.payload;
    }
};

constexpr int UNTOUCHED = 4711;

constexpr int UDP_TYPE = PACKET_DUMP_UDP;
constexpr int OTHER_TYPE = PACKET_DUMP_OTHER;
const Read THE_END{-1, UNTOUCHED, ""};

/// Reads once, with room for \p size bytes.
Read readFrom(packet_dump& dump, int size = 65536);

/// Reads until the end; the last one is the first that failed.
std::vector<Read> readAll(const std::string& file);

/// A place for a capture file that a test writes byte by byte.
class WrittenCapture : public testing::Test
{
protected:
    /// What is read of a file of this content.
    std::vector<Read> readOf(const std::string& content) const
    {
        return readAll(m_directory.file("capture", content));
    }

    support::TemporaryDirectory m_directory;
};

/// The sum of 16-bit words that is 0xFFFF for a header whose checksum is right.
unsigned int internetSum(const std::string& header);

} // namespace capture

#endif
