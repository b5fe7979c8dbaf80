#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <syslog.h>
#include <thread>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/network_calls.h"
#include "support/observed.h"

using peers::Address;
using peers::Peer;
using support::Captured;
using support::LogLine;
using support::RecordedLog;
using support::Replacement;

namespace calls = support::calls;

namespace
{

class UDPSocketRead : public testing::Test
{
protected:
    void SetUp() override
    {
        m_port = peers::freePort();
        ASSERT_GE(m_socket.open(m_port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1"), 0);
    }

    Address own() const { return {"127.0.0.1", m_port}; }
    std::string failed(int error) const
    {
        return "Read from socket " + std::to_string(m_socket.socketHandle()) + ", port " +
               std::to_string(m_socket.localPort()) + " failed " + std::strerror(error) + "\n";
    }
    int readByAddress()
    {
        Address from;
        return m_socket.read(m_buffer, sizeof m_buffer, from.get(), from.length());
    }
    int readByNumber() { return m_socket.read(m_buffer, int{sizeof m_buffer}, m_ip, m_senderPort); }

    UDPSocket m_socket;
    unsigned short m_port = 0;
    char m_buffer[64] = "";
    unsigned int m_ip = 4711;
    unsigned short m_senderPort = 4712;
};

ssize_t noDatagram(int, void*, size_t, int, sockaddr*, socklen_t*)
{
    errno = ENOBUFS;
    return -1;
}

} // namespace

TEST_F(UDPSocketRead, givesTheDatagramAndItsSender)
{
    const Peer peer;
    peer.send("hello", own());
    Address from;
    EXPECT_EQ(m_socket.read(m_buffer, sizeof m_buffer, from.get(), from.length()), 5);
    EXPECT_STREQ(m_buffer, "hello");
    EXPECT_EQ(from.text(), "127.0.0.1");
    EXPECT_EQ(from.port(), peer.port());
    EXPECT_EQ(from.size(), sizeof(sockaddr_in));
}

TEST_F(UDPSocketRead, givesTheSenderAsNumbers)
{
    const Peer peer("127.0.0.2");
    peer.send("hello", own());
    EXPECT_EQ(readByNumber(), 5);
    EXPECT_STREQ(m_buffer, "hello");
    EXPECT_EQ(m_ip, inet_addr("127.0.0.2"));
    EXPECT_EQ(m_senderPort, peer.port());
}

TEST_F(UDPSocketRead, waitsForADatagram)
{
    const Peer peer;
    std::thread late([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        peer.send("late", own());
    });
    EXPECT_EQ(readByNumber(), 4);
    late.join();
}

TEST_F(UDPSocketRead, cutsADatagramThatIsTooLong)
{
    const Peer peer;
    peer.send("0123456789", own());
    peer.send("next", own());
    EXPECT_EQ(m_socket.read(m_buffer, 4u, nullptr, nullptr), 4);
    EXPECT_STREQ(m_buffer, "0123");
    EXPECT_EQ(m_socket.read(m_buffer, sizeof m_buffer, nullptr, nullptr), 4);
    EXPECT_STREQ(m_buffer, "next");
}

TEST_F(UDPSocketRead, ofAnEmptyDatagramGivesZero)
{
    const Peer peer;
    const RecordedLog log;
    peer.send("", own());
    EXPECT_EQ(readByAddress(), 0);
    peer.send("", own());
    EXPECT_EQ(readByNumber(), 0);
    EXPECT_EQ(m_senderPort, peer.port());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(UDPSocketRead, overIPv6GivesTheSender)
{
    if (!peers::hasIPv6()) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    UDPSocket socket;
    const unsigned short port = peers::freePort();
    ASSERT_GE(socket.open(port, ADDRESS_FAMILY_IPV6, "", "::1"), 0);
    const Peer peer("::1");
    peer.send("six", {"::1", port});
    Address from;
    EXPECT_EQ(socket.read(m_buffer, sizeof m_buffer, from.get(), from.length()), 3);
    EXPECT_EQ(from.text(), "::1");
    EXPECT_EQ(from.port(), peer.port());
}

TEST_F(UDPSocketRead, asksForTheSendersAddressAndNoFlags)
{
    const Peer peer;
    peer.send("hello", own());
    peer.send("again", own());
    int flags = -1;
    socklen_t size = 0;
    const Replacement receive(calls::recvfrom, [&](int fd, void* data, size_t length, int flag,
                                                   sockaddr* from, socklen_t* fromLen) {
        flags = flag;
        size = *fromLen;
        return calls::recvfrom.original(fd, data, length, flag, from, fromLen);
    });
    EXPECT_EQ(readByNumber(), 5);
    EXPECT_EQ(flags, 0);
    EXPECT_EQ(size, 16u) << "of an IPv4 address";
    flags = -1;
    EXPECT_EQ(readByAddress(), 5);
    EXPECT_EQ(flags, 0);
    EXPECT_EQ(size, sizeof(sockaddr_storage)) << "of what the caller has room for";
}

TEST_F(UDPSocketRead, thatFailsIsPrintedAndLoggedOnce)
{
    const Captured errors(2);
    const RecordedLog log;
    const Peer peer;
    peer.send("", own());
    const Replacement receive(calls::recvfrom, noDatagram);
    EXPECT_EQ(readByAddress(), -1);
    EXPECT_EQ(errno, ENOBUFS);
    EXPECT_EQ(readByAddress(), -1);
    EXPECT_EQ(readByNumber(), -1);
    EXPECT_EQ(errors.text(), failed(ENOBUFS));
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, failed(ENOBUFS)}}));
}

TEST_F(UDPSocketRead, byNumberThatFailsIsOnlyLogged)
{
    const Captured errors(2);
    const RecordedLog log;
    const Peer peer;
    peer.send("", own());
    const Replacement receive(calls::recvfrom, noDatagram);
    EXPECT_EQ(readByNumber(), -1);
    EXPECT_EQ(errno, ENOBUFS);
    EXPECT_EQ(readByNumber(), -1);
    EXPECT_EQ(errors.text(), "");
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, failed(ENOBUFS)}}));
    EXPECT_EQ(m_ip, 4711u);
    EXPECT_EQ(m_senderPort, 4712);
}

TEST_F(UDPSocketRead, isLoggedAgainAfterASuccess)
{
    const Captured quiet(2);
    const RecordedLog log;
    const Peer peer;
    for (const bool byAddress : {true, false}) {
        peer.send("", own());
        {
            const Replacement receive(calls::recvfrom, noDatagram);
            EXPECT_EQ(byAddress ? readByAddress() : readByNumber(), -1);
        }
        EXPECT_EQ(byAddress ? readByAddress() : readByNumber(), 0) << "any other result counts";
    }
    EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(UDPSocketRead, sharesItsThrottleWithWrites)
{
    const RecordedLog log;
    const Peer peer;
    peer.send("", own());
    {
        const Replacement receive(calls::recvfrom, noDatagram);
        EXPECT_EQ(readByNumber(), -1);
    }
    {
        const Replacement send(calls::sendto,
                               [](int, const void*, size_t, int, const sockaddr*,
                                  socklen_t) -> ssize_t { return -1; });
        EXPECT_EQ(m_socket.write(m_buffer, 1, m_ip, 9), -1);
    }
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(UDPSocketRead, isLoggedAgainAfterAnOpen)
{
    const RecordedLog log;
    UDPSocket socket;
    socket.read(m_buffer, 1, m_ip, m_senderPort);
    ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    const Replacement fail(calls::select, [](int, fd_set*, fd_set*, fd_set*, timeval*) {
        errno = EINTR;
        return -1;
    });
    socket.read(m_buffer, 1, m_ip, m_senderPort);
    EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(UDPSocketRead, ofAClosedSocketFailsWithALine)
{
    const Captured errors(2);
    const RecordedLog log;
    m_socket.close();
    EXPECT_EQ(readByAddress(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(log.lines().back(), (LogLine{LOG_ERR, failed(EBADF)}));
    EXPECT_EQ(errors.text(), failed(EBADF));
    UDPSocket neverOpened;
    EXPECT_EQ(neverOpened.read(m_buffer, 1, m_ip, m_senderPort), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(neverOpened.socketHandle(), -1) << "reads open nothing";
}

TEST_F(UDPSocketRead, intoANegativeLengthFails)
{
    const RecordedLog log;
    EXPECT_EQ(m_socket.read(m_buffer, -1, m_ip, m_senderPort), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(m_ip, 4711u);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, failed(EINVAL)}}));
}

TEST_F(UDPSocketRead, withoutABufferOrALengthOfTheAddressFails)
{
    const Captured quiet(2);
    const RecordedLog log;
    const Peer peer;
    Address from;
    peer.send("x", own());
    EXPECT_EQ(m_socket.read(m_buffer, 1u, from.get(), nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(readByNumber(), 1) << "the datagram is not lost";
    peer.send("x", own());
    EXPECT_EQ(m_socket.read(nullptr, 1u, from.get(), from.length()), -1);
    EXPECT_EQ(errno, EFAULT);
}
