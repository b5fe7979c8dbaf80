#include "incoming_stream.h"

#include <climits>
#include <gtest/gtest.h>

using voicecall::Frame;
using voicecall::IncomingStream;
using voicecall::NetworkAddress;
using voicecall::RtpPacket;
using voicecall::RtpStream;

namespace
{

const NetworkAddress SPEAKER = NetworkAddress::of("192.0.2.1:4000", 0);
const NetworkAddress OTHER_PORT = NetworkAddress::of("192.0.2.1:4001", 0);
const NetworkAddress OTHER_HOST = NetworkAddress::of("192.0.2.2:4000", 0);

class Incoming : public testing::Test
{
protected:
    IncomingStream::Kind look(IncomingStream& incoming, int index, const NetworkAddress& from)
    {
        Frame sent;
        sent.index = index;
        const RtpPacket packet = toPacket(m_stream, sent);
        return incoming.look(packet.data(), packet.size(), from, m_frame);
    }

    IncomingStream::Kind lookAtGoodbye(IncomingStream& incoming, std::uint32_t source,
                                       const NetworkAddress& from)
    {
        const std::vector<std::uint8_t> packet = voicecall::goodbye(source);
        return incoming.look(packet.data(), packet.size(), from, m_frame);
    }

    const RtpStream m_stream{0x01020304, 65530, 7};
    Frame m_frame;
};

} // namespace

TEST_F(Incoming, streamThatWasAgreedOnComesFromOneAddressOnly)
{
    IncomingStream incoming(m_stream, SPEAKER);
    EXPECT_EQ(look(incoming, 0, OTHER_PORT), IncomingStream::FOREIGN);
    EXPECT_EQ(look(incoming, 0, SPEAKER), IncomingStream::FRAME);
    EXPECT_EQ(m_frame.index, 0);
}

TEST_F(Incoming, streamIsLearntFromWhoeverSpeaksFirst)
{
    IncomingStream incoming((NetworkAddress()));
    EXPECT_EQ(incoming.speaker().text(), "");
    EXPECT_EQ(lookAtGoodbye(incoming, m_stream.source, SPEAKER), IncomingStream::FOREIGN);
    EXPECT_EQ(look(incoming, 10, SPEAKER), IncomingStream::FRAME);
    EXPECT_EQ(incoming.speaker(), SPEAKER);
    const int first = m_frame.index;
    EXPECT_EQ(look(incoming, 11, SPEAKER), IncomingStream::FRAME);
    EXPECT_EQ(m_frame.index, first + 1);
    EXPECT_EQ(look(incoming, 9, SPEAKER), IncomingStream::FRAME) << "sent before, came later";
    EXPECT_EQ(m_frame.index, first - 1);
    EXPECT_EQ(look(incoming, 12, OTHER_HOST), IncomingStream::FOREIGN);
}

TEST_F(Incoming, streamOfTheHostThatIsCalledMayComeFromAnyPortOfIt)
{
    IncomingStream incoming(SPEAKER);
    EXPECT_EQ(look(incoming, 0, OTHER_HOST), IncomingStream::FOREIGN);
    EXPECT_EQ(look(incoming, 0, OTHER_PORT), IncomingStream::FRAME);
    EXPECT_EQ(incoming.speaker(), OTHER_PORT);
}

TEST_F(Incoming, goodbyeIsTakenFromTheSpeakersHostAndOfItsSource)
{
    IncomingStream incoming(SPEAKER);
    EXPECT_EQ(look(incoming, 0, SPEAKER), IncomingStream::FRAME);
    EXPECT_EQ(lookAtGoodbye(incoming, 5, SPEAKER), IncomingStream::FOREIGN);
    EXPECT_EQ(lookAtGoodbye(incoming, m_stream.source, OTHER_HOST), IncomingStream::FOREIGN);
    EXPECT_EQ(lookAtGoodbye(incoming, m_stream.source, OTHER_PORT), IncomingStream::GOODBYE);
}

TEST_F(Incoming, speakerWhoJumpsAheadComesToTheEndOfTheCall)
{
    constexpr int FURTHEST = 32767; // from one packet to the next
    IncomingStream incoming(m_stream, SPEAKER);
    int index = 0;
    while (index < INT_MAX - FURTHEST) {
        ASSERT_EQ(look(incoming, index, SPEAKER), IncomingStream::FRAME) << index;
        index += FURTHEST;
    }
    EXPECT_EQ(look(incoming, INT_MAX - 1, SPEAKER), IncomingStream::FRAME);
    EXPECT_EQ(look(incoming, INT_MAX, SPEAKER), IncomingStream::FOREIGN);
    EXPECT_EQ(look(incoming, INT_MAX - 1, SPEAKER), IncomingStream::FRAME) << "once more";
}
