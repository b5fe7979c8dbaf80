#include <array>
#include <gtest/gtest.h>

#include "media_socket.h"

using voicecall::MediaSocket;

TEST(MediaSocket, carriesPacketsAndTellsWhoSentThem)
{
    const MediaSocket one;
    const MediaSocket other;
    ASSERT_NE(one.port(), 0);
    ASSERT_NE(one.port(), other.port());
    const std::array<std::uint8_t, 3> sent{1, 2, 3};
    ASSERT_TRUE(one.send(sent.data(), sent.size(), other.port()));
    std::array<std::uint8_t, 10> received{};
    std::uint16_t from = 0;
    ASSERT_EQ(other.receive(received.data(), received.size(), 5000, from), 3);
    EXPECT_EQ(received[0], 1);
    EXPECT_EQ(received[2], 3);
    EXPECT_EQ(from, one.port());
}

TEST(MediaSocket, waitsForALimitedTime)
{
    const MediaSocket socket;
    std::array<std::uint8_t, 10> received{};
    std::uint16_t from = 0;
    EXPECT_EQ(socket.receive(received.data(), received.size(), 20, from), -1);
}

TEST(MediaSocket, cutsAPacketThatIsLongerThanTheBuffer)
{
    const MediaSocket socket;
    const std::array<std::uint8_t, 20> sent{};
    ASSERT_TRUE(socket.send(sent.data(), sent.size(), socket.port()));
    std::array<std::uint8_t, 10> received{};
    std::uint16_t from = 0;
    EXPECT_EQ(socket.receive(received.data(), received.size(), 5000, from), 10);
}

TEST(MediaSocket, tellsThatAPacketWasNotTaken)
{
    const MediaSocket socket;
    const std::array<std::uint8_t, 1> packet{};
    EXPECT_FALSE(socket.send(packet.data(), packet.size(), 0));
}
