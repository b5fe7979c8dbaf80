#include <arpa/inet.h>
#include <array>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "media_socket.h"

using voicecall::MediaSocket;
using voicecall::NetworkAddress;

TEST(MediaSocket, carriesPacketsAndTellsWhoSentThem)
{
    MediaSocket one;
    MediaSocket other;
    ASSERT_NE(one.port(), 0);
    ASSERT_NE(one.port(), other.port());
    const std::array<std::uint8_t, 3> sent{1, 2, 3};
    ASSERT_TRUE(one.send(sent.data(), sent.size(), other.address()));
    std::array<std::uint8_t, 10> received{};
    NetworkAddress from;
    ASSERT_EQ(other.receive(received.data(), received.size(), 5000, from), 3);
    EXPECT_EQ(received[0], 1);
    EXPECT_EQ(received[2], 3);
    EXPECT_EQ(from.text(), "127.0.0.1:" + std::to_string(one.port()));
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
    ASSERT_TRUE(MediaSocket().send(packet.data(), packet.size(),
                                   NetworkAddress::loopback(ntohs(address.sin_port))));
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
    NetworkAddress from;
    EXPECT_EQ(socket.receive(received.data(), received.size(), 20, from), -1);
}

TEST(MediaSocket, cutsAPacketThatIsLongerThanTheBuffer)
{
    MediaSocket socket;
    const std::array<std::uint8_t, 20> sent{};
    ASSERT_TRUE(socket.send(sent.data(), sent.size(), socket.address()));
    std::array<std::uint8_t, 10> received{};
    NetworkAddress from;
    EXPECT_EQ(socket.receive(received.data(), received.size(), 5000, from), 10);
}

TEST(MediaSocket, tellsThatAPacketWasNotTaken)
{
    MediaSocket socket;
    const std::array<std::uint8_t, 1> packet{};
    EXPECT_FALSE(socket.send(packet.data(), packet.size(), NetworkAddress()));
}

TEST(MediaSocket, hearsBothFamiliesWhereItListensAtEveryAddress)
{
    if (access("/proc/net/if_inet6", F_OK) != 0) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    MediaSocket listening(NetworkAddress::any(AF_INET6, 0));
    const std::string port = std::to_string(listening.port());
    for (const char* host : {"127.0.0.1", "[::1]"}) {
        const NetworkAddress to = NetworkAddress::of(host + (":" + port), 0);
        MediaSocket caller(NetworkAddress::any(to.family(), 0));
        const std::array<std::uint8_t, 1> packet{7};
        ASSERT_TRUE(caller.send(packet.data(), packet.size(), to));
        std::array<std::uint8_t, 10> received{};
        NetworkAddress from;
        ASSERT_EQ(listening.receive(received.data(), received.size(), 5000, from), 1);
        EXPECT_EQ(from.text(), host + (":" + std::to_string(caller.port())));
        ASSERT_TRUE(listening.send(packet.data(), packet.size(), from)) << "and can answer";
        ASSERT_EQ(caller.receive(received.data(), received.size(), 5000, from), 1);
        EXPECT_EQ(from, to);
    }
}

TEST(MediaSocket, saysWhatItCannotHave)
{
    MediaSocket first;
    try {
        MediaSocket second(first.address());
        FAIL() << "two sockets have one port";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(),
                  "cannot listen at " + first.address().text() + ": Address already in use");
    }
}
