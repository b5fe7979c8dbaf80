/// \file
/// Hears any packet in a call. The first 14 bytes say what the call's stream is like and which
/// frame is expected.
#include <climits>
#include <cstring>

#include "check.h"
#include "input.h"
#include "rtp.h"

using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    voicecall::RtpStream stream;
    stream.source = input.number<std::uint32_t>();
    stream.firstSequence = input.number<std::uint16_t>();
    stream.firstTimestamp = input.number<std::uint32_t>();
    const int expected = static_cast<int>(input.number<std::uint32_t>() % INT_MAX);
    const std::vector<std::uint8_t> packet = input.rest();

    voicecall::Frame frame;
    if (voicecall::fromPacket(stream, packet.data(), packet.size(), expected, frame)) {
        check(frame.index >= 0 && frame.index < INT_MAX);
        const voicecall::RtpPacket same = voicecall::toPacket(stream, frame);
        check(packet.size() == same.size());
        // All but the marker, by which nothing is told apart.
        check(packet[0] == same[0] && std::memcmp(&packet[2], &same[2], same.size() - 2) == 0);
    }
    voicecall::RtpStream learnt;
    if (voicecall::learnStream(packet.data(), packet.size(), expected, learnt)) {
        check(voicecall::fromPacket(learnt, packet.data(), packet.size(), expected, frame));
        check(frame.index == expected);
    }
    voicecall::isGoodbye(packet.data(), packet.size(), stream.source);
    return 0;
}
