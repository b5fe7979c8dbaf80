#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <syslog.h>

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

constexpr auto LOOPBACK = "127.0.0.1";

ssize_t refusedSend(int, const void*, size_t, int, const sockaddr*, socklen_t)
{
    errno = EPERM;
    return -1;
}

/// What `sendto` gets.
struct Sent {
    std::string content;
    int flags = -1;
    std::string to;
};

/// Takes what is sent for a scope, and answers with a result or, for no result, with the length.
class Taken
{
public:
    explicit Taken(ssize_t result = -2)
        : m_send(calls::sendto, [this, result](int, const void* data, size_t length, int flags,
                                               const sockaddr* to, socklen_t toLength) {
              sent.push_back({{static_cast<const char*>(data), length},
                              flags,
                              {reinterpret_cast<const char*>(to), toLength}});
              errno = result == -1 ? EPERM : errno;
              return result == -2 ? static_cast<ssize_t>(length) : result;
          })
    {
    }
    std::vector<Sent> sent;

private:
    Replacement<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)> m_send;
};

template <typename SocketAddress>
SocketAddress as(const std::string& bytes)
{
    SocketAddress address{};
    EXPECT_EQ(bytes.size(), sizeof address);
    std::memcpy(&address, bytes.data(), std::min(bytes.size(), sizeof address));
    return address;
}

class UDPSocketWrite : public testing::Test
{
protected:
    void open(AddressFamily family = ADDRESS_FAMILY_IPV4)
    {
        ASSERT_GE(m_socket.open(0, family, "", ""), 0);
    }
    static std::string bytesOf(const Address& address)
    {
        return {reinterpret_cast<const char*>(address.get()), address.size()};
    }
    int writeByNumber(unsigned short port)
    {
        return m_socket.write(m_data, 5, inet_addr(LOOPBACK), port);
    }
    int writeByAddress(const char* host, unsigned short port)
    {
        Address to(host, port);
        const Address before = to;
        const int result = m_socket.write("hello", 5u, to.get(), to.length());
        EXPECT_EQ(bytesOf(to), bytesOf(before)) << "the address is the caller's";
        return result;
    }
    std::string failed(int error) const
    {
        return "Write to socket " + std::to_string(m_socket.socketHandle()) + ", port 0 failed " +
               std::strerror(error) + "\n";
    }

    UDPSocket m_socket;
    Peer m_peer;
    char m_data[6] = "hello";
};

} // namespace

TEST_F(UDPSocketWrite, sendsToAnAddressInEveryForm)
{
    open();
    EXPECT_EQ(writeByNumber(m_peer.port()), 5);
    EXPECT_EQ(m_peer.receive().content, "hello");
    EXPECT_EQ(writeByAddress(LOOPBACK, m_peer.port()), 5);
    EXPECT_EQ(m_peer.receive().content, "hello");
    EXPECT_EQ(m_socket.write("hello", 5u, LOOPBACK, m_peer.port()), 5);
    EXPECT_EQ(m_peer.receive().content, "hello");
}

TEST_F(UDPSocketWrite, sendsOverIPv6)
{
    if (!peers::hasIPv6()) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    open(ADDRESS_FAMILY_IPV6);
    const Peer peer("::1");
    EXPECT_EQ(writeByAddress("::1", peer.port()), 5);
    EXPECT_EQ(peer.receive().content, "hello");
    EXPECT_EQ(m_socket.write("hello", 5u, "::1", peer.port()), 5);
    EXPECT_EQ(peer.receive().content, "hello");
}

TEST_F(UDPSocketWrite, comesFromTheBoundPort)
{
    const unsigned short port = peers::freePort();
    ASSERT_GE(m_socket.open(port, ADDRESS_FAMILY_IPV4, "", ""), 0);
    EXPECT_EQ(writeByNumber(m_peer.port()), 5);
    EXPECT_EQ(m_peer.receive().from.port(), port);
}

TEST_F(UDPSocketWrite, byNumberBuildsAnIPv4Address)
{
    open();
    const Taken taken;
    EXPECT_EQ(m_socket.write(m_data, 5, inet_addr("192.0.2.7"), 5060), 5);
    ASSERT_EQ(taken.sent.size(), 1u);
    EXPECT_EQ(taken.sent[0].content, "hello");
    EXPECT_EQ(taken.sent[0].flags, 0);
    const auto to = as<sockaddr_in>(taken.sent[0].to);
    EXPECT_EQ(to.sin_family, AF_INET);
    EXPECT_EQ(to.sin_port, htons(5060));
    EXPECT_EQ(to.sin_addr.s_addr, inet_addr("192.0.2.7"));
}

TEST_F(UDPSocketWrite, toATextBuildsAnAddressOfTheSocketsFamily)
{
    open();
    const Taken taken;
    EXPECT_EQ(m_socket.write("hello", 5u, "192.0.2.7", 5060), 5);
    ASSERT_EQ(taken.sent.size(), 1u);
    EXPECT_EQ(taken.sent[0].content, "hello");
    EXPECT_EQ(taken.sent[0].flags, 0);
    const auto to = as<sockaddr_in>(taken.sent[0].to);
    EXPECT_EQ(to.sin_family, AF_INET);
    EXPECT_EQ(to.sin_port, htons(5060));
    EXPECT_EQ(to.sin_addr.s_addr, inet_addr("192.0.2.7"));
}

TEST_F(UDPSocketWrite, toATextOverIPv6BuildsAnIPv6Address)
{
    const Replacement anySocket(calls::socket, [](int, int type, int protocol) {
        return calls::socket.original(AF_INET, type, protocol);
    });
    ASSERT_GE(m_socket.open(0, ADDRESS_FAMILY_IPV6, "", "::1"), 0);
    const Taken taken;
    EXPECT_EQ(m_socket.write("hello", 5u, "2001:db8::7", 5060), 5);
    ASSERT_EQ(taken.sent.size(), 1u);
    const auto to = as<sockaddr_in6>(taken.sent[0].to);
    EXPECT_EQ(to.sin6_family, AF_INET6);
    EXPECT_EQ(to.sin6_port, htons(5060));
    EXPECT_EQ(to.sin6_flowinfo, 0u);
    EXPECT_EQ(to.sin6_scope_id, 0u);
    in6_addr expected{};
    inet_pton(AF_INET6, "2001:db8::7", &expected);
    EXPECT_EQ(std::memcmp(&to.sin6_addr, &expected, sizeof expected), 0);
}

TEST_F(UDPSocketWrite, toATextThatIsNoAddressGoesToTheAllZeroAddress)
{
    open();
    {
        const RecordedLog log;
        const Taken taken(3);
        EXPECT_EQ(m_socket.write("abc", 3u, "no address", 5060), 3);
        ASSERT_EQ(taken.sent.size(), 1u);
        EXPECT_EQ(as<sockaddr_in>(taken.sent[0].to).sin_addr.s_addr, 0u);
        EXPECT_TRUE(log.lines().empty());
    }
    EXPECT_EQ(m_socket.write("hello", 5u, "", m_peer.port()), 5);
    EXPECT_EQ(m_peer.receive().content, "hello") << "the all-zero address is this host";
}

TEST_F(UDPSocketWrite, toATextFailsOnASocketThatWasNeverOpened)
{
    const Captured errors(2);
    const RecordedLog log;
    EXPECT_EQ(m_socket.write("hello", 5u, LOOPBACK, m_peer.port()), -1);
    EXPECT_EQ(errno, EAFNOSUPPORT);
    const std::string message = std::string("UDPSocket::write(): inet_pton error: [") +
                                std::strerror(EAFNOSUPPORT) + "] for 127.0.0.1\n";
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, message}}));
    EXPECT_EQ(errors.text(), "");
    EXPECT_EQ(m_socket.write("hello", 5u, LOOPBACK, m_peer.port()), -1);
    EXPECT_EQ(log.lines().size(), 1u) << "throttled";
    EXPECT_EQ(m_socket.socketHandle(), -1);
    EXPECT_EQ(writeByNumber(m_peer.port()), 5) << "still new: an address in binary form opens it";
}

TEST_F(UDPSocketWrite, toATextAsksForTheFamilyOfTheSocket)
{
    open();
    const RecordedLog log;
    std::vector<std::pair<int, std::string>> asked;
    const Replacement convert(calls::inet_pton, [&](int family, const char* text, void*) {
        asked.emplace_back(family, text);
        errno = EDOM;
        return -1;
    });
    EXPECT_EQ(m_socket.write("hello", 5u, "192.0.2.7", 5060), -1);
    EXPECT_EQ(asked, (std::vector<std::pair<int, std::string>>{{AF_INET, "192.0.2.7"}}));
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(UDPSocketWrite, opensANewSocketItself)
{
    EXPECT_EQ(writeByNumber(m_peer.port()), 5);
    EXPECT_GE(m_socket.socketHandle(), 0);
    EXPECT_EQ(m_socket.family(), AF_INET);
    EXPECT_EQ(m_socket.localPort(), 0);
    EXPECT_EQ(m_peer.receive().content, "hello");
    UDPSocket another;
    Address to = m_peer.address();
    EXPECT_EQ(another.write("hello", 5u, to.get(), to.length()), 5);
    EXPECT_GE(another.socketHandle(), 0);
}

TEST_F(UDPSocketWrite, opensNothingThatIsClosed)
{
    const RecordedLog log;
    open();
    m_socket.close();
    EXPECT_EQ(writeByNumber(m_peer.port()), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(writeByAddress(LOOPBACK, m_peer.port()), -1);
    EXPECT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[1], (LogLine{LOG_ERR, failed(EBADF)}));
}

TEST_F(UDPSocketWrite, triesToOpenANewSocketOnlyOnce)
{
    const Captured quiet(2);
    const RecordedLog log;
    int attempts = 0;
    const Replacement none(calls::socket, [&](int, int, int) {
        ++attempts;
        errno = EMFILE;
        return -1;
    });
    EXPECT_EQ(writeByNumber(m_peer.port()), -1);
    EXPECT_EQ(errno, EBADF) << "it tries to send all the same";
    const int ofOneOpen = attempts;
    EXPECT_GE(ofOneOpen, 1);
    EXPECT_EQ(writeByNumber(m_peer.port()), -1);
    EXPECT_EQ(attempts, ofOneOpen);
    EXPECT_EQ(log.lines().back(), (LogLine{LOG_ERR, failed(EBADF)}));
}

TEST_F(UDPSocketWrite, fromADescriptorThatSelectCannotHoldFails)
{
    const Replacement high(calls::socket, [](int, int, int) { return int{FD_SETSIZE}; });
    const Replacement change(calls::fcntl, [](int, int, long) { return 0; });
    const Replacement close(calls::close, [](int) { return 0; });
    UDPSocket socket;
    ASSERT_EQ(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), FD_SETSIZE);
    const RecordedLog log;
    EXPECT_EQ(socket.write(m_data, 5, inet_addr(LOOPBACK), 9), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                               {LOG_ERR, "Write to socket " + std::to_string(FD_SETSIZE) +
                                             ", port 0 failed " + std::strerror(EBADF) + "\n"}}));
}

TEST_F(UDPSocketWrite, thatFailsIsLoggedOnce)
{
    open();
    const Captured errors(2);
    const RecordedLog log;
    const Replacement send(calls::sendto, refusedSend);
    EXPECT_EQ(writeByNumber(9), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(writeByNumber(9), -1);
    EXPECT_EQ(writeByAddress(LOOPBACK, 9), -1);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, failed(EPERM)}}));
    EXPECT_EQ(errors.text(), "");
}

TEST_F(UDPSocketWrite, isLoggedAgainAfterASuccess)
{
    open();
    const RecordedLog log;
    for (const ssize_t success : {5, 0}) {
        {
            const Taken failing(-1);
            EXPECT_EQ(writeByNumber(9), -1);
        }
        {
            const Taken taken(success);
            EXPECT_EQ(writeByNumber(9), success);
        }
    }
    EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(UDPSocketWrite, toATextIsLoggedEachTime)
{
    open();
    const RecordedLog log;
    const Replacement send(calls::sendto, refusedSend);
    EXPECT_EQ(m_socket.write("hello", 5u, LOOPBACK, 9), -1);
    EXPECT_EQ(m_socket.write("hello", 5u, LOOPBACK, 9), -1);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{LOG_ERR, failed(EPERM)}, {LOG_ERR, failed(EPERM)}}));
}

TEST_F(UDPSocketWrite, ofNothingSendsNothing)
{
    open();
    const RecordedLog log;
    const Taken taken;
    Address to = m_peer.address();
    EXPECT_EQ(m_socket.write(m_data, 0, inet_addr(LOOPBACK), 9), 0);
    EXPECT_EQ(m_socket.write("", 0u, to.get(), to.length()), 0);
    EXPECT_EQ(m_socket.write("", 0u, LOOPBACK, 9), 0);
    EXPECT_TRUE(taken.sent.empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(UDPSocketWrite, ofANegativeLengthFails)
{
    open();
    const RecordedLog log;
    EXPECT_EQ(m_socket.write(m_data, -1, inet_addr(LOOPBACK), 9), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, failed(EINVAL)}}));
}

TEST_F(UDPSocketWrite, withoutDataOrAddressFails)
{
    open();
    const RecordedLog log;
    Address to = m_peer.address();
    EXPECT_EQ(m_socket.write(nullptr, 5, inet_addr(LOOPBACK), 9), -1);
    EXPECT_EQ(m_socket.write("x", 1u, nullptr, to.length()), -1);
    EXPECT_EQ(m_socket.write("x", 1u, to.get(), nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(log.lines().size(), 1u);
}
