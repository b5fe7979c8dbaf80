#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "rtp.h"

using namespace voicecall;

namespace
{

RtpStream streamFrom(unsigned firstSequence)
{
    RtpStream stream;
    stream.source = 0x01020304;
    stream.firstSequence = static_cast<std::uint16_t>(firstSequence);
    stream.firstTimestamp = 0xFFFFFFF0;
    return stream;
}

Frame sentFrame(int index)
{
    Frame frame;
    frame.index = index;
    frame.payload.fill(static_cast<std::uint8_t>(index));
    return frame;
}

bool isFrame(const RtpStream& stream, const RtpPacket& packet)
{
    Frame frame;
    return fromPacket(stream, packet.data(), packet.size(), 0, frame);
}

} // namespace

TEST(Rtp, hasTheHeaderOfTheStandardInNetworkOrder)
{
    const RtpPacket first = toPacket(streamFrom(0x1234), sentFrame(0));
    const std::vector<std::uint8_t> header(first.begin(), first.begin() + 12);
    EXPECT_THAT(header,
                testing::ElementsAre(0x80, 0x80, 0x12, 0x34, 0xFF, 0xFF, 0xFF, 0xF0, 1, 2, 3, 4));
    const RtpPacket next = toPacket(streamFrom(0x1234), sentFrame(1));
    const std::vector<std::uint8_t> nextHeader(next.begin(), next.begin() + 12);
    EXPECT_THAT(nextHeader,
                testing::ElementsAre(0x80, 0x00, 0x12, 0x35, 0x00, 0x00, 0x00, 0x90, 1, 2, 3, 4));
    EXPECT_EQ(next[12], 1);
    EXPECT_EQ(next[171], 1);
}

TEST(Rtp, findsTheIndexAcrossTheWrapOfTheSequenceNumber)
{
    for (const unsigned firstSequence : {0U, 1U, 0x7FFFU, 0x8000U, 65535U}) {
        const RtpStream stream = streamFrom(firstSequence);
        for (const int index : {0, 1, 32767, 65535, 65536, 70000, 200000}) {
            for (const int offset : {-30000, -2, 0, 2, 30000}) {
                const RtpPacket packet = toPacket(stream, sentFrame(index));
                Frame frame;
                ASSERT_TRUE(
                    fromPacket(stream, packet.data(), packet.size(), index + offset, frame));
                ASSERT_EQ(frame.index, index);
                ASSERT_EQ(frame.payload, sentFrame(index).payload);
            }
        }
    }
}

TEST(Rtp, takesNoPacketThatIsNotOfTheStream)
{
    const RtpStream stream = streamFrom(7);
    const RtpPacket good = toPacket(stream, sentFrame(0));
    ASSERT_TRUE(isFrame(stream, good));
    for (const std::size_t at : {0U, 3U, 7U, 8U, 11U}) {
        RtpPacket bad = good;
        bad[at] ^= 1;
        EXPECT_FALSE(isFrame(stream, bad)) << at;
    }
    RtpPacket otherCodec = good;
    otherCodec[1] = 8;
    EXPECT_FALSE(isFrame(stream, otherCodec));
    Frame frame;
    for (const std::size_t size : {std::size_t{0}, std::size_t{12}, good.size() - 1}) {
        EXPECT_FALSE(fromPacket(stream, good.data(), size, 0, frame)) << size;
    }
}

TEST(Rtp, takesNoPacketFromBeforeTheFirst)
{
    const RtpPacket early = toPacket(streamFrom(6), sentFrame(0));
    EXPECT_FALSE(isFrame(streamFrom(7), early));
}

TEST(Rtp, hasNoFrameWithAnIndexThatNoneCanFollow)
{
    const RtpStream stream = streamFrom(7);
    for (const int expected : {INT_MAX - 32767, INT_MAX - 1, INT_MAX}) {
        Frame frame;
        const RtpPacket last = toPacket(stream, sentFrame(INT_MAX - 1));
        EXPECT_TRUE(fromPacket(stream, last.data(), last.size(), expected, frame)) << expected;
        EXPECT_EQ(frame.index, INT_MAX - 1);
        const RtpPacket behind = toPacket(stream, sentFrame(INT_MAX));
        EXPECT_FALSE(fromPacket(stream, behind.data(), behind.size(), expected, frame));
        EXPECT_EQ(frame.index, INT_MAX - 1) << "unchanged";
    }
}

TEST(Rtp, startsEachStreamElsewhere)
{
    EXPECT_NE(RtpStream::atRandom().source, RtpStream::atRandom().source);
}

TEST(Rtp, isLearntFromAnyPacketOfIt)
{
    const RtpStream sent = streamFrom(3);
    for (const int index : {0, 2, 70000}) {
        const RtpPacket packet = toPacket(sent, sentFrame(index));
        RtpStream learnt;
        ASSERT_TRUE(learnStream(packet.data(), packet.size(), 50, learnt));
        for (const int offset : {-50, -1, 0, 1, 1000}) {
            const RtpPacket other = toPacket(sent, sentFrame(index + offset));
            Frame frame;
            ASSERT_TRUE(fromPacket(learnt, other.data(), other.size(), 50, frame)) << offset;
            EXPECT_EQ(frame.index, 50 + offset);
        }
    }
    RtpStream learnt;
    EXPECT_FALSE(learnStream(toPacket(sent, sentFrame(0)).data(), 171, 50, learnt));
    EXPECT_EQ(learnt.source, 0U);
}

TEST(Goodbye, isAnEmptyReportAndAByeOfTheStandard)
{
    EXPECT_THAT(goodbye(0x01020304),
                testing::ElementsAre(0x80, 201, 0, 1, 1, 2, 3, 4, 0x81, 203, 0, 1, 1, 2, 3, 4));
}

TEST(Goodbye, isFoundBehindOtherPacketsAndAmongOtherSources)
{
    std::vector<std::uint8_t> packet{0x80, 200, 0, 6}; // a sender's report
    packet.resize(28);
    const std::vector<std::uint8_t> bye{0x82, 203, 0, 2, 9, 9, 9, 9, 1, 2, 3, 4};
    packet.insert(packet.end(), bye.begin(), bye.end());
    EXPECT_TRUE(isGoodbye(packet.data(), packet.size(), 0x01020304));
    EXPECT_TRUE(isGoodbye(packet.data(), packet.size(), 0x09090909));
    EXPECT_FALSE(isGoodbye(packet.data(), packet.size(), 0x01020305));
    EXPECT_FALSE(isGoodbye(packet.data(), packet.size() - 1, 0x01020304)) << "cut short";
    EXPECT_FALSE(isGoodbye(packet.data(), 28, 0x01020304)) << "a report only";
}

TEST(Goodbye, isNotBelievedOfLengthsThatAreNotThere)
{
    std::vector<std::uint8_t> packet{0x9F, 203, 0xFF, 0xFF, 9, 9, 9, 9};
    EXPECT_FALSE(isGoodbye(packet.data(), packet.size(), 1));
    EXPECT_FALSE(isGoodbye(packet.data(), 0, 1));
    EXPECT_FALSE(isGoodbye(packet.data(), 3, 1));
    packet[0] = 0x80;
    EXPECT_FALSE(isGoodbye(packet.data(), packet.size(), 0x09090909)) << "of no source";
    const RtpPacket audio = toPacket(streamFrom(7), sentFrame(0));
    EXPECT_FALSE(isGoodbye(audio.data(), audio.size(), 0x01020304));
}
