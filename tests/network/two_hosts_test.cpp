/// \file
/// Sockets of two hosts, made of network namespaces, with a link between them that loses datagrams,
/// refuses them or takes none for a long time.
#include <gpal/UDPSocket.h>

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sched.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/observed.h"
#include "support/two_hosts.h"

using support::Captured;
using support::FAR_HOST;
using support::NEAR_HOST;
using support::RecordedLog;
using support::runCommands;

namespace
{

constexpr unsigned short PORT = 4000;

/// Opens a socket of the far host.
void openThere(UDPSocket& socket, AddressFamily family)
{
    std::thread([&] {
        const int host = open("/run/netns/far", O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(setns(host, CLONE_NEWNET), 0);
        close(host);
        ASSERT_GE(socket.open(PORT, family, "", ""), 0);
    }).join();
}

class TwoHosts : public testing::Test
{
protected:
    void SetUp() override
    {
        const std::string reason = support::makeTwoHosts();
        if (!reason.empty()) {
            GTEST_SKIP() << "no second host: " << reason;
        }
    }

    UDPSocket m_near;
    UDPSocket m_far;
    char m_buffer[2000] = "";
    unsigned int m_ip = 0;
    unsigned short m_port = 0;
};

} // namespace

TEST_F(TwoHosts, talkToEachOther)
{
    openThere(m_far, ADDRESS_FAMILY_IPV4);
    ASSERT_GE(m_near.open(PORT, ADDRESS_FAMILY_IPV4, "", NEAR_HOST), 0);
    EXPECT_EQ(m_near.write("there", 5u, FAR_HOST, PORT), 5);
    EXPECT_EQ(m_far.read(m_buffer, int{sizeof m_buffer}, m_ip, m_port), 5);
    EXPECT_EQ(m_port, PORT);
    char answer[] = "back";
    EXPECT_EQ(m_far.write(answer, 4, m_ip, m_port), 4);
    peers::Address from;
    EXPECT_EQ(m_near.read(m_buffer, sizeof m_buffer, from.get(), from.length()), 4);
    EXPECT_EQ(from.text(), FAR_HOST);
    EXPECT_EQ(from.port(), PORT);
}

TEST_F(TwoHosts, talkToEachOtherOverIPv6)
{
    if (access("/proc/net/if_inet6", F_OK) != 0) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    openThere(m_far, ADDRESS_FAMILY_IPV6);
    ASSERT_GE(m_near.open(0, ADDRESS_FAMILY_IPV6, "", ""), 0);
    EXPECT_EQ(m_near.write("there", 5u, "fd09::2", PORT), 5);
    peers::Address from;
    EXPECT_EQ(m_far.read(m_buffer, sizeof m_buffer, from.get(), from.length()), 5);
    EXPECT_EQ(from.text(), "fd09::1");
}

TEST_F(TwoHosts, loseWhatTheLinkLosesAndNothingElse)
{
    if (!runCommands("ip netns exec far nft 'add table ip lossy;"
                     "add chain ip lossy in { type filter hook input priority 0; };"
                     "add rule ip lossy in udp dport 4000 numgen inc mod 3 0 drop'")) {
        GTEST_SKIP() << "no packet filter to lose datagrams with";
    }
    openThere(m_far, ADDRESS_FAMILY_IPV4);
    constexpr int SENT = 30;
    for (int i = 0; i < SENT; ++i) {
        const std::string content(160, static_cast<char>('A' + i));
        peers::Address to(FAR_HOST, PORT);
        EXPECT_EQ(m_near.write(content.data(), 160u, to.get(), to.length()), 160);
    }
    for (int i = 0; i < SENT * 2 / 3; ++i) {
        EXPECT_EQ(m_far.read(m_buffer, int{sizeof m_buffer}, m_ip, m_port), 160);
        EXPECT_EQ(std::string(m_buffer, 160), std::string(160, m_buffer[0]));
    }
}

TEST_F(TwoHosts, areToldOfWhatTheFilterRefuses)
{
    ASSERT_GE(m_near.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    openThere(m_far, ADDRESS_FAMILY_IPV4);
    if (!runCommands(
            "nft 'add table ip closed;"
            "add chain ip closed out { type filter hook output priority 0; policy drop; }'")) {
        GTEST_SKIP() << "no packet filter to refuse datagrams with";
    }
    const RecordedLog log;
    peers::Address to(FAR_HOST, PORT);
    EXPECT_EQ(m_near.write("hello", 5u, to.get(), to.length()), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(m_near.write("hello", 5u, to.get(), to.length()), -1);
    EXPECT_EQ(log.lines().size(), 1u);
    ASSERT_TRUE(runCommands("nft delete table ip closed"));
    EXPECT_EQ(m_near.write("hello", 5u, to.get(), to.length()), 5);
    EXPECT_EQ(m_far.read(m_buffer, int{sizeof m_buffer}, m_ip, m_port), 5);
}

TEST_F(TwoHosts, waitFiveSecondsForALinkThatTakesNothing)
{
    if (!runCommands("tc qdisc add dev near root tbf rate 1kbit burst 2000 limit 100000")) {
        GTEST_SKIP() << "no queue to choke the link with";
    }
    ASSERT_GE(m_near.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    const int fd = m_near.socketHandle();
    const int small = 4608;
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    const Captured errors(2);
    const RecordedLog log;
    peers::Address to(FAR_HOST, PORT);
    int result = 0;
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 50 && result != -1; ++i) {
        start = std::chrono::steady_clock::now();
        result = m_near.write(m_buffer, 1000u, to.get(), to.length());
    }
    EXPECT_EQ(result, -1);
    const long waited = support::millisecondsSince(start);
    EXPECT_GE(waited, 4900);
    EXPECT_LT(waited, 20000);
    std::string printed;
    for (int seconds = 5; seconds <= 30; seconds += 5) {
        printed += "Timeout " + std::to_string(seconds) + ":30 writing into UDP socket " +
                   std::to_string(fd) + "\n";
    }
    printed +=
        "Error writing into UDP socket " + std::to_string(fd) + ", 0 of 1000 bytes written\n";
    EXPECT_EQ(errors.text(), printed);
    EXPECT_EQ(log.lines().size(), 8u) << "the seven lines, and that of the failed write";
}
