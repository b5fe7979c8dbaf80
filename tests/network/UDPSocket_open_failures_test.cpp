#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <deque>
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
using support::Replacement;

namespace calls = support::calls;
using support::failing;

namespace
{

/// A resolver that knows the addresses it was given.
class Resolver
{
public:
    explicit Resolver(const std::vector<peers::Address>& addresses)
        : m_lookUp(calls::getaddrinfo,
                   [this](const char*, const char*, const addrinfo*, addrinfo** list) {
                       *list = m_entries.empty() ? nullptr : &m_entries.front();
                       return 0;
                   }),
          m_free(calls::freeaddrinfo, [this](addrinfo* list) { m_freed.push_back(list); })
    {
        for (const peers::Address& address : addresses) {
            m_addresses.push_back(address);
        }
        for (peers::Address& address : m_addresses) {
            addrinfo entry{};
            entry.ai_family = address.get()->sa_family;
            entry.ai_socktype = SOCK_DGRAM;
            entry.ai_protocol = IPPROTO_UDP;
            entry.ai_addr = address.get();
            entry.ai_addrlen = address.size();
            m_entries.push_back(entry);
        }
        for (std::size_t i = 1; i < m_entries.size(); ++i) {
            m_entries[i - 1].ai_next = &m_entries[i];
        }
    }

    bool freedItsListOnce() const
    {
        return m_freed == std::vector<const addrinfo*>{&m_entries.front()};
    }

private:
    std::deque<peers::Address> m_addresses;
    std::deque<addrinfo> m_entries;
    std::vector<const addrinfo*> m_freed;
    Replacement<int(const char*, const char*, const addrinfo*, addrinfo**)> m_lookUp;
    Replacement<void(addrinfo*)> m_free;
};

std::string line(const std::string& text)
{
    return text + "\n";
}

/// Whether the first write would open the socket by itself.
bool opensItself(UDPSocket& socket)
{
    char byte = 0;
    socket.write(&byte, 1, htonl(INADDR_LOOPBACK), 9);
    return socket.socketHandle() >= 0;
}

} // namespace

TEST(UDPSocketOpenFailure, ofTheResolverIsPrintedAndLogged)
{
    // The results below 0 are those of this C library; other C libraries have them above.
    for (const int error : {EAI_NONAME, -EAI_NONAME, EAI_AGAIN, 1}) {
        const Captured errors(2);
        const RecordedLog log;
        const Replacement resolver(
            calls::getaddrinfo,
            [&](const char*, const char*, const addrinfo*, addrinfo**) { return error; });
        UDPSocket socket;
        EXPECT_EQ(socket.open(5060, ADDRESS_FAMILY_IPV4, "", "nowhere"), -1);
        const std::string message =
            std::string("UDPSocket::open(): getaddrinfo error: [") + gai_strerror(error) + "]\n";
        EXPECT_EQ(errors.text(), message);
        EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, message}}));
        EXPECT_EQ(socket.socketHandle(), -1);
    }
}

TEST(UDPSocketOpenFailure, leavesTheSocketClosedForGood)
{
    const Captured quiet(2);
    const RecordedLog log;
    UDPSocket socket;
    EXPECT_EQ(socket.open(1, static_cast<AddressFamily>(77), "", ""), -1);
    EXPECT_EQ(socket.localPort(), 0);
    EXPECT_EQ(socket.family(), 0);
    EXPECT_FALSE(opensItself(socket));
}

TEST(UDPSocketOpenFailure, withAnEmptyListIsSilent)
{
    const Resolver resolver({});
    const Captured errors(2);
    const RecordedLog log;
    UDPSocket socket;
    EXPECT_EQ(socket.open(1, ADDRESS_FAMILY_IPV4, "", ""), -1);
    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(opensItself(socket));
}

TEST(UDPSocketOpenFailure, ofOneSocketGoesOnWithTheNextAddress)
{
    const unsigned short port = peers::freePort();
    const Resolver resolver({{"::1", port}, {"127.0.0.1", port}});
    const Captured errors(2);
    const RecordedLog log;
    std::vector<std::vector<int>> made;
    const Replacement noIPv6(calls::socket, [&](int family, int type, int protocol) {
        made.push_back({family, type, protocol});
        return family == AF_INET6 ? failing(EAFNOSUPPORT)
                                  : calls::socket.original(family, type, protocol);
    });
    UDPSocket socket;
    ASSERT_GE(socket.open(port, ADDRESS_FAMILY_NONE, "", ""), 0);
    EXPECT_EQ(made, (std::vector<std::vector<int>>{{AF_INET6, SOCK_DGRAM, IPPROTO_UDP},
                                                   {AF_INET, SOCK_DGRAM, IPPROTO_UDP}}));
    const std::string reason = std::strerror(EAFNOSUPPORT);
    EXPECT_EQ(errors.text(), line("UDPSocket::open(): unable to open a UDP Socket: " + reason));
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{
                  {LOG_ERR, line("UDPSocket::open(): unable to open a UDP Socket" + reason)}}));
    EXPECT_EQ(peers::boundAddress(socket.socketHandle()).text(), "127.0.0.1");
    EXPECT_TRUE(resolver.freedItsListOnce());
}

TEST(UDPSocketOpenFailure, ofEverySocketGivesMinusOneAndKeepsTheReason)
{
    const Captured quiet(2);
    const RecordedLog log;
    UDPSocket socket;
    {
        const Replacement none(calls::socket, [](int, int, int) { return failing(EMFILE); });
        EXPECT_EQ(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), -1);
        EXPECT_EQ(errno, EMFILE);
    }
    EXPECT_EQ(socket.socketHandle(), -1);
    EXPECT_FALSE(opensItself(socket));
}

TEST(UDPSocketOpenFailure, ofCloseOnExecIsReportedAndTheSocketUsed)
{
    const Captured errors(2);
    const RecordedLog log;
    UDPSocket socket;
    {
        const Replacement change(calls::fcntl, [](int fd, int command, long argument) {
            return command == F_SETFD ? failing(EPERM)
                                      : calls::fcntl.original(fd, command, argument);
        });
        ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    }
    const std::string reason = std::strerror(EPERM);
    EXPECT_EQ(errors.text(),
              line("UDPSocket::open(): unable to set options on UDP SocketFD_CLOEXEC: " + reason));
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                               {LOG_ERR, line("UDPSocket::open(): unable to set options on UDP "
                                              "SocketFD_CLOEXEC " +
                                              reason)}}));
    EXPECT_EQ(fcntl(socket.socketHandle(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
}

TEST(UDPSocketOpenFailure, ofNonBlockingIsReportedAndTheSocketUsed)
{
    for (const int failingCommand : {F_GETFL, F_SETFL}) {
        const Captured errors(2);
        const RecordedLog log;
        int flagsSet = 0;
        const Replacement change(calls::fcntl, [&](int, int command, long) {
            flagsSet += command == F_SETFL ? 1 : 0;
            return command == failingCommand ? failing(EINVAL) : 0;
        });
        UDPSocket socket;
        ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
        const std::string reason = std::strerror(EINVAL);
        EXPECT_EQ(
            errors.text(),
            line("UDPSocket::open(): unable to set options on UDP SocketO_NONBLOCK: " + reason));
        EXPECT_EQ(log.lines(),
                  (std::vector<LogLine>{{LOG_ERR, "UDPSocket::open(): unable to set options on UDP "
                                                  "SocketO_NONBLOCK " +
                                                      reason}}));
        EXPECT_EQ(flagsSet, failingCommand == F_SETFL ? 1 : 0);
    }
}

TEST(UDPSocketOpenFailure, ofBindIsReportedAndClosesTheSocket)
{
    const peers::Peer occupant;
    const unsigned short port = occupant.port();
    const Captured errors(2);
    const RecordedLog log;
    UDPSocket socket;
    EXPECT_EQ(socket.open(port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1"), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    const std::string stored = std::to_string(htons(port));
    const std::string message =
        std::string("UDPSocket::open(): unable to bind the UDP socket to a server port ") +
        std::strerror(EADDRINUSE) + " (127.0.0.1 " + stored + ")\n";
    EXPECT_EQ(errors.text(), message);
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[0], (LogLine{LOG_ERR, message}));
    EXPECT_EQ(log.lines()[1].priority, LOG_INFO);
    EXPECT_EQ(log.lines()[1].text.find("Closing socket "), 0u);
    EXPECT_NE(log.lines()[1].text.find(", family 2, port " + stored + "\n"), std::string::npos);
    EXPECT_EQ(socket.localPort(), 0);
    EXPECT_EQ(socket.family(), 0);
    EXPECT_FALSE(opensItself(socket));
}

TEST(UDPSocketOpenFailure, ofBindGoesOnWithTheNextAddress)
{
    const unsigned short port = peers::freePort();
    const Resolver resolver({{"192.0.2.1", port}, {"127.0.0.1", port}, {"127.0.0.2", port}});
    const Captured quiet(2);
    const RecordedLog log;
    std::vector<int> closed;
    const Replacement close(calls::close, [&](int fd) {
        closed.push_back(fd);
        return calls::close.original(fd);
    });
    UDPSocket socket;
    const int handle = socket.open(port, ADDRESS_FAMILY_IPV4, "", "");
    ASSERT_GE(handle, 0);
    EXPECT_EQ(closed, std::vector<int>{handle}) << "its number was free again";
    EXPECT_EQ(peers::boundAddress(handle).text(), "127.0.0.1");
    EXPECT_EQ(socket.localPort(), htons(port));
    EXPECT_EQ(socket.family(), AF_INET);
    EXPECT_EQ(log.lines().size(), 2u);
    EXPECT_TRUE(resolver.freedItsListOnce());
}

TEST(UDPSocketOpen, stopsAtTheFirstAddressWithoutAPort)
{
    const Resolver resolver({{"127.0.0.1", 0}, {"127.0.0.1", peers::freePort()}});
    UDPSocket socket;
    const int handle = socket.open(5060, ADDRESS_FAMILY_IPV4, "", "");
    ASSERT_GE(handle, 0);
    EXPECT_EQ(socket.localPort(), 0);
    EXPECT_EQ(peers::boundAddress(handle).port(), 0);
    EXPECT_TRUE(resolver.freedItsListOnce());
}
