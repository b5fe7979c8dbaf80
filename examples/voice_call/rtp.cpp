#include "rtp.h"

#include <algorithm>
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
    if (size != RTP_HEADER_SIZE + FRAME_SAMPLES || packet[0] != VERSION_2 ||
        (packet[1] & ~MARKER) != PAYLOAD_MU_LAW || get32(packet + SOURCE_AT) != stream.source) {
        return false;
    }
    // Distances on a circle of 65536 numbers: the upper half of them leads backwards.
    const unsigned expected = stream.firstSequence + static_cast<unsigned>(expectedIndex);
    const int distance =
        static_cast<int>(((get16(packet + SEQUENCE_AT) - expected + 0x8000U) & 0xFFFFU)) - 0x8000;
    const int index = expectedIndex + distance;
    if (index < 0 || get32(packet + TIMESTAMP_AT) != timestampOf(stream, index)) {
        return false;
    }
    frame.index = index;
    std::copy(packet + RTP_HEADER_SIZE, packet + size, frame.payload.begin());
    return true;
}

} // namespace voicecall
