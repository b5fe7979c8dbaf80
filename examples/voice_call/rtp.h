/// \file
/// The frames of a call as they cross the network: RTP (RFC 3550) with mu-law audio (RFC 3551).
#ifndef VOICE_CALL_RTP_H
#define VOICE_CALL_RTP_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace voicecall
{

constexpr int FRAME_MS = 20;
constexpr std::size_t FRAME_SAMPLES = 160;
constexpr std::size_t RTP_HEADER_SIZE = 12;

using FramePayload = std::array<std::uint8_t, FRAME_SAMPLES>;
using RtpPacket = std::array<std::uint8_t, RTP_HEADER_SIZE + FRAME_SAMPLES>;

/// A frame with its place in the call, counted from 0.
struct Frame {
    int index = 0;
    FramePayload payload{};
};

/// What both ends of a call agreed on about one direction of it. The starting values are chosen at
/// random, as the RFC wants it.
struct RtpStream {
    std::uint32_t source = 0;
    std::uint16_t firstSequence = 0;
    std::uint32_t firstTimestamp = 0;

    static RtpStream atRandom();
};

/// The packet that carries \p frame.
RtpPacket toPacket(const RtpStream& stream, const Frame& frame);

/// Reads a packet. \p expectedIndex tells which round of the 16-bit sequence number is meant: the
/// index that comes out is the nearest to it, and one that another can follow: who speaks may jump
/// ahead up to the end of the numbers. Returns false, with \p frame unchanged, for anything that is
/// no frame of \p stream.
bool fromPacket(const RtpStream& stream, const std::uint8_t* packet, std::size_t size,
                int expectedIndex, Frame& frame);

/// Learns what a stream is like from the first packet of it that is heard, which gets the index
/// \p index: some that were sent before it may still come. Returns false, with \p stream unchanged,
/// for what is no frame of mu-law audio.
bool learnStream(const std::uint8_t* packet, std::size_t size, int index, RtpStream& stream);

/// The packet that says that \p source hangs up: a BYE of RTCP, the standard's control protocol.
/// It goes to the port of the audio (RFC 5761).
std::vector<std::uint8_t> goodbye(std::uint32_t source);

/// Whether a packet, of RTCP, says that \p source hangs up.
bool isGoodbye(const std::uint8_t* packet, std::size_t size, std::uint32_t source);

} // namespace voicecall

#endif
