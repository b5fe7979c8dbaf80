#include "rtp.h"

#include <algorithm>
#include <climits>
#include <random>

namespace voicecall
{
namespace
{

constexpr unsigned VERSION_2 = 0x80; ///< no padding, no extension, no further sources
constexpr unsigned MARKER = 0x80;    ///< set on the first packet after a silence
constexpr unsigned PAYLOAD_MU_LAW = 0;
constexpr unsigned SEQUENCE_AT = 2;
constexpr unsigned TIMESTAMP_AT = 4;
constexpr unsigned SOURCE_AT = 8;

// Of RTCP: packets of whole 32-bit words, several in one datagram.
constexpr std::size_t WORD = 4;
constexpr unsigned RECEIVER_REPORT = 201;
constexpr unsigned BYE = 203;

void put16(std::uint8_t* at, unsigned number)
{
    at[0] = static_cast<std::uint8_t>(number >> 8 & 0xFF);
    at[1] = static_cast<std::uint8_t>(number & 0xFF);
}

void put32(std::uint8_t* at, std::uint32_t number)
{
    put16(at, number >> 16);
    put16(at + 2, number & 0xFFFF);
}

unsigned get16(const std::uint8_t* at)
{
    return unsigned{at[0]} << 8 | at[1];
}

std::uint32_t get32(const std::uint8_t* at)
{
    return std::uint32_t{get16(at)} << 16 | get16(at + 2);
}

bool isMuLawFrame(const std::uint8_t* packet, std::size_t size)
{
    return size == RTP_HEADER_SIZE + FRAME_SAMPLES && packet[0] == VERSION_2 &&
           (packet[1] & ~MARKER) == PAYLOAD_MU_LAW;
}

std::uint32_t timestampOf(const RtpStream& stream, int index)
{
    return stream.firstTimestamp +
           static_cast<std::uint32_t>(index) * static_cast<std::uint32_t>(FRAME_SAMPLES);
}

} // namespace

RtpStream RtpStream::atRandom()
{
    std::random_device random;
    RtpStream stream;
    stream.source = random();
    stream.firstSequence = static_cast<std::uint16_t>(random());
    stream.firstTimestamp = random();
    return stream;
}

RtpPacket toPacket(const RtpStream& stream, const Frame& frame)
{
    RtpPacket packet{};
    packet[0] = VERSION_2;
    packet[1] = static_cast<std::uint8_t>(PAYLOAD_MU_LAW | (frame.index == 0 ? MARKER : 0U));
    put16(&packet[SEQUENCE_AT], stream.firstSequence + static_cast<unsigned>(frame.index));
    put32(&packet[TIMESTAMP_AT], timestampOf(stream, frame.index));
    put32(&packet[SOURCE_AT], stream.source);
    std::copy(frame.payload.begin(), frame.payload.end(), packet.begin() + RTP_HEADER_SIZE);
    return packet;
}

bool fromPacket(const RtpStream& stream, const std::uint8_t* packet, std::size_t size,
                int expectedIndex, Frame& frame)
{
    if (!isMuLawFrame(packet, size) || get32(packet + SOURCE_AT) != stream.source) {
        return false;
    }
    // Distances on a circle of 65536 numbers: the upper half of them leads backwards.
    const unsigned expected = stream.firstSequence + static_cast<unsigned>(expectedIndex);
    const int distance =
        static_cast<int>(((get16(packet + SEQUENCE_AT) - expected + 0x8000U) & 0xFFFFU)) - 0x8000;
    const std::int64_t found = std::int64_t{expectedIndex} + distance;
    const int index = static_cast<int>(found);
    if (found < 0 || found >= INT_MAX ||
        get32(packet + TIMESTAMP_AT) != timestampOf(stream, index)) {
        return false;
    }
    frame.index = index;
    std::copy(packet + RTP_HEADER_SIZE, packet + size, frame.payload.begin());
    return true;
}

bool learnStream(const std::uint8_t* packet, std::size_t size, int index, RtpStream& stream)
{
    if (!isMuLawFrame(packet, size)) {
        return false;
    }
    stream.source = get32(packet + SOURCE_AT);
    stream.firstSequence =
        static_cast<std::uint16_t>(get16(packet + SEQUENCE_AT) - static_cast<unsigned>(index));
    stream.firstTimestamp =
        get32(packet + TIMESTAMP_AT) -
        static_cast<std::uint32_t>(index) * static_cast<std::uint32_t>(FRAME_SAMPLES);
    return true;
}

std::vector<std::uint8_t> goodbye(std::uint32_t source)
{
    // A datagram of RTCP begins with a report, be it an empty one.
    std::vector<std::uint8_t> packet(4 * WORD);
    packet[0] = VERSION_2;
    packet[1] = RECEIVER_REPORT;
    put16(&packet[2], 1); // one word follows
    put32(&packet[WORD], source);
    packet[2 * WORD] = VERSION_2 | 1; // one source
    packet[2 * WORD + 1] = BYE;
    put16(&packet[2 * WORD + 2], 1);
    put32(&packet[3 * WORD], source);
    return packet;
}

bool isGoodbye(const std::uint8_t* packet, std::size_t size, std::uint32_t source)
{
    std::size_t at = 0;
    while (size - at >= 2 * WORD && (packet[at] & 0xC0U) == VERSION_2) {
        const std::size_t words = get16(packet + at + 2);
        const std::size_t sources = packet[at] & 0x1FU;
        if (packet[at + 1] == BYE) {
            // The sources, one a word, follow the first word.
            for (std::size_t i = 1; i <= std::min(sources, words); ++i) {
                if (at + (i + 1) * WORD <= size && get32(packet + at + i * WORD) == source) {
                    return true;
                }
            }
        }
        at += std::min((words + 1) * WORD, size - at);
    }
    return false;
}

} // namespace voicecall
