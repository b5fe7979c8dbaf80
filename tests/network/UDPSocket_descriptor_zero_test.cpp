/// \file
/// Sockets of a process that was started without a standard input: the first has descriptor 0.
#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/network_calls.h"
#include "support/observed.h"

using support::Captured;
using support::LogLine;
using support::RecordedLog;

namespace
{

class UDPSocketOnDescriptorZero : public testing::Test
{
protected:
    UDPSocketOnDescriptorZero() { ::close(0); }
    ~UDPSocketOnDescriptorZero() override { dup2(m_input, 0); }

    void open() { ASSERT_EQ(m_socket.open(m_port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1"), 0); }
    std::string closing() const
    {
        return "Closing socket 0, family 2, port " + std::to_string(htons(m_port)) + "\n";
    }

    Captured m_errors{2};
    RecordedLog m_log;
    peers::Peer m_peer;
    unsigned short m_port = peers::freePort();
    int m_input = fcntl(0, F_DUPFD_CLOEXEC, 3);
    UDPSocket m_socket;
    char m_data[6] = "hello";
};

} // namespace

TEST_F(UDPSocketOnDescriptorZero, isOpenLikeAnyOther)
{
    open();
    EXPECT_EQ(m_socket.socketHandle(), 0);
    EXPECT_EQ(m_socket.localPort(), htons(m_port));
    EXPECT_EQ(m_socket.family(), AF_INET);
    EXPECT_EQ(m_socket.setPriority(46), 0);
    EXPECT_EQ(m_socket.write(m_data, 5, htonl(INADDR_LOOPBACK), m_peer.port()), 5);
    EXPECT_EQ(m_peer.receive().from.port(), m_port);
    m_peer.send("hello", {"127.0.0.1", m_port});
    EXPECT_EQ(m_socket.read(m_data, 5u, nullptr, nullptr), 5);
    EXPECT_TRUE(m_log.lines().empty());
    EXPECT_EQ(m_errors.text(), "");
}

TEST_F(UDPSocketOnDescriptorZero, isNotOpenedAgainByItsFirstWrites)
{
    EXPECT_EQ(m_socket.write(m_data, 5, htonl(INADDR_LOOPBACK), m_peer.port()), 5);
    EXPECT_EQ(m_socket.socketHandle(), 0);
    EXPECT_EQ(m_socket.write(m_data, 5, htonl(INADDR_LOOPBACK), m_peer.port()), 5);
    EXPECT_EQ(m_peer.receive().from.port(), m_peer.receive().from.port());
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(UDPSocketOnDescriptorZero, isClosedWithALine)
{
    open();
    EXPECT_EQ(m_socket.close(), 0);
    EXPECT_EQ(m_log.lines(), (std::vector<LogLine>{{LOG_INFO, closing()}}));
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    EXPECT_EQ(m_socket.socketHandle(), -1);
}

TEST_F(UDPSocketOnDescriptorZero, isClosedByTheNextOpenWithAComplaint)
{
    open();
    const std::string complaint =
        "UDPSocket::open(): socket already opened on " + std::to_string(m_port);
    open();
    EXPECT_EQ(m_errors.text(), complaint);
    EXPECT_EQ(m_log.lines(), (std::vector<LogLine>{{LOG_INFO, complaint}, {LOG_INFO, closing()}}));
}

TEST_F(UDPSocketOnDescriptorZero, logsItsFirstFailureAnewOnceItIsOpen)
{
    EXPECT_EQ(m_socket.read(m_data, 5u, nullptr, nullptr), -1);
    ASSERT_EQ(m_log.lines().size(), 1u);
    open();
    EXPECT_EQ(m_socket.read(nullptr, 5u, nullptr, nullptr), -1);
    EXPECT_EQ(m_log.lines().size(), 2u);
}

TEST_F(UDPSocketOnDescriptorZero, isClosedWhenItsPortIsTaken)
{
    EXPECT_EQ(m_socket.open(m_peer.port(), ADDRESS_FAMILY_IPV4, "", "127.0.0.1"), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
}
