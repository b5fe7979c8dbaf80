#include <arpa/inet.h>
#include <array>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "media_socket.h"

using voicecall::MediaSocket;

TEST(MediaSocket, carriesPacketsAndTellsWhoSentThem)
{
    MediaSocket one;
    MediaSocket other;
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

TEST(MediaSocket, asksForExpeditedForwarding)
{
    const int peer = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    const int wanted = 1;
    ASSERT_EQ(bind(peer, plain, length), 0);
    ASSERT_EQ(getsockname(peer, plain, &length), 0);
    ASSERT_EQ(setsockopt(peer, IPPROTO_IP, IP_RECVTOS, &wanted, sizeof wanted), 0);

    const std::array<std::uint8_t, 1> packet{};
    ASSERT_TRUE(MediaSocket().send(packet.data(), packet.size(), ntohs(address.sin_port)));
    char data = 0;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = "";
    iovec piece{&data, 1};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ASSERT_EQ(recvmsg(peer, &message, 0), 1);
    ASSERT_NE(CMSG_FIRSTHDR(&message), nullptr);
    EXPECT_EQ(*CMSG_DATA(CMSG_FIRSTHDR(&message)), 46 << 2);
    close(peer);
}

TEST(MediaSocket, waitsForALimitedTime)
{
    MediaSocket socket;
    std::array<std::uint8_t, 10> received{};
    std::uint16_t from = 0;
    EXPECT_EQ(socket.receive(received.data(), received.size(), 20, from), -1);
}

TEST(MediaSocket, cutsAPacketThatIsLongerThanTheBuffer)
{
    MediaSocket socket;
    const std::array<std::uint8_t, 20> sent{};
    ASSERT_TRUE(socket.send(sent.data(), sent.size(), socket.port()));
    std::array<std::uint8_t, 10> received{};
    std::uint16_t from = 0;
    EXPECT_EQ(socket.receive(received.data(), received.size(), 5000, from), 10);
}

TEST(MediaSocket, tellsThatAPacketWasNotTaken)
{
    MediaSocket socket;
    const std::array<std::uint8_t, 1> packet{};
    EXPECT_FALSE(socket.send(packet.data(), packet.size(), 0));
}
