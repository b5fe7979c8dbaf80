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
using support::Replacement;

namespace calls = support::calls;

namespace
{

struct Told : PortMgmtIfc {
    int portOpened(const std::string& owner, unsigned int port) override
    {
        owners.push_back(owner);
        ports.push_back(port);
        return -1;
    }
    std::vector<std::string> owners;
    std::vector<unsigned int> ports;
};

/// Sets a port manager for a scope.
class InForce
{
public:
    explicit InForce(PortMgmtIfc& manager) { UDPSocket::setPortMgr(&manager); }
    InForce(const InForce&) = delete;
    InForce& operator=(const InForce&) = delete;
    ~InForce() { UDPSocket::setPortMgr(nullptr); }
};

struct Asked {
    bool hasNode = false;
    std::string node;
    std::string service;
    addrinfo hints{};
};

/// What the resolver is asked for by an `open`.
Asked askedFor(unsigned int port, AddressFamily family, const std::string& address)
{
    Asked asked;
    const Captured quiet(2);
    const RecordedLog log;
    const Replacement resolver(calls::getaddrinfo, [&](const char* node, const char* service,
                                                       const addrinfo* hints, addrinfo**) {
        asked.hasNode = node != nullptr;
        asked.node = node != nullptr ? node : "";
        asked.service = service;
        asked.hints = *hints;
        return EAI_AGAIN;
    });
    UDPSocket socket;
    EXPECT_EQ(socket.open(port, family, "", address), -1);
    return asked;
}

} // namespace

TEST(UDPSocketNew, isClosed)
{
    const UDPSocket socket;
    EXPECT_EQ(socket.socketHandle(), -1);
    EXPECT_EQ(socket.localPort(), 0);
    EXPECT_EQ(socket.family(), 0);
}

TEST(UDPSocketNew, withAPortIsOpenOnEveryIPv4Address)
{
    Told manager;
    const InForce force(manager);
    const unsigned short port = peers::freePort();
    const UDPSocket socket(port, "media");
    ASSERT_GE(socket.socketHandle(), 0);
    EXPECT_EQ(socket.family(), AF_INET);
    EXPECT_EQ(socket.localPort(), htons(port));
    EXPECT_EQ(peers::boundAddress(socket.socketHandle()).text(), "0.0.0.0");
    EXPECT_EQ(peers::boundAddress(socket.socketHandle()).port(), port);
    EXPECT_EQ(manager.owners, std::vector<std::string>{"media"});
}

TEST(UDPSocketOpen, bindsAPortOnEveryAddressOfTheFamily)
{
    UDPSocket socket;
    const unsigned short port = peers::freePort();
    const int handle = socket.open(port, ADDRESS_FAMILY_IPV4, "", "");
    ASSERT_GE(handle, 0);
    EXPECT_EQ(socket.socketHandle(), handle);
    EXPECT_EQ(socket.localPort(), htons(port));
    EXPECT_EQ(socket.family(), AF_INET);
    EXPECT_EQ(peers::boundAddress(handle).text(), "0.0.0.0");
    EXPECT_EQ(peers::boundAddress(handle).port(), port);
}

TEST(UDPSocketOpen, bindsIPv6)
{
    if (!peers::hasIPv6()) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    UDPSocket socket;
    const unsigned short port = peers::freePort();
    const int handle = socket.open(port, ADDRESS_FAMILY_IPV6, "", "");
    ASSERT_GE(handle, 0);
    EXPECT_EQ(socket.family(), AF_INET6);
    EXPECT_EQ(socket.localPort(), htons(port));
    EXPECT_EQ(peers::boundAddress(handle).text(), "::");
    EXPECT_EQ(peers::boundAddress(handle).port(), port);
}

TEST(UDPSocketOpen, bindsOneAddressGivenAsTextOrName)
{
    for (const char* address : {"127.0.0.1", "localhost"}) {
        UDPSocket socket;
        const int handle = socket.open(peers::freePort(), ADDRESS_FAMILY_IPV4, "", address);
        ASSERT_GE(handle, 0) << address;
        EXPECT_EQ(peers::boundAddress(handle).text(), "127.0.0.1") << address;
    }
}

TEST(UDPSocketOpen, makesTheDescriptorCloseOnExecAndNonBlocking)
{
    UDPSocket socket;
    const int handle = socket.open(0, ADDRESS_FAMILY_IPV4, "", "");
    ASSERT_GE(handle, 0);
    EXPECT_EQ(fcntl(handle, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(handle, F_GETFL), O_RDWR | O_NONBLOCK);
    int type = 0;
    socklen_t size = sizeof type;
    getsockopt(handle, SOL_SOCKET, SO_TYPE, &type, &size);
    EXPECT_EQ(type, SOCK_DGRAM);
}

TEST(UDPSocketOpen, addsNonBlockingToTheFlagsThatAreSet)
{
    std::vector<std::pair<int, long>> changes;
    const Replacement change(calls::fcntl, [&](int, int command, long argument) {
        changes.emplace_back(command, argument);
        return command == F_GETFL ? O_RDWR | O_APPEND : 0;
    });
    UDPSocket socket;
    ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    const std::vector<std::pair<int, long>> expected = {
        {F_SETFD, FD_CLOEXEC}, {F_GETFL, 0}, {F_SETFL, O_RDWR | O_APPEND | O_NONBLOCK}};
    EXPECT_EQ(changes, expected);
}

TEST(UDPSocketOpen, withPortZeroLeavesTheSocketUnbound)
{
    Told manager;
    const InForce force(manager);
    int binds = 0;
    const Replacement count(calls::bind, [&](int, const sockaddr*, socklen_t) {
        ++binds;
        return 0;
    });
    UDPSocket socket;
    const int handle = socket.open(0, ADDRESS_FAMILY_IPV4, "owner", "");
    ASSERT_GE(handle, 0);
    EXPECT_EQ(binds, 0);
    EXPECT_EQ(socket.localPort(), 0);
    EXPECT_EQ(peers::boundAddress(handle).port(), 0);
    EXPECT_TRUE(manager.owners.empty());
}

TEST(UDPSocketOpen, asksForAnAddressToBindOnlyWithAPort)
{
    EXPECT_EQ(askedFor(5060, ADDRESS_FAMILY_IPV4, "").hints.ai_flags, AI_PASSIVE);
    EXPECT_EQ(askedFor(0, ADDRESS_FAMILY_IPV4, "").hints.ai_flags, 0);
}

TEST(UDPSocketOpen, asksForDatagramsOfTheFamilyAndNothingElse)
{
    for (const int family : {AF_INET, AF_INET6, AF_UNSPEC, 77, -3}) {
        const addrinfo hints = askedFor(1, static_cast<AddressFamily>(family), "").hints;
        EXPECT_EQ(hints.ai_family, family);
        EXPECT_EQ(hints.ai_socktype, SOCK_DGRAM);
        EXPECT_EQ(hints.ai_protocol, 0);
        EXPECT_EQ(hints.ai_addrlen, 0u);
        EXPECT_EQ(hints.ai_addr, nullptr);
        EXPECT_EQ(hints.ai_canonname, nullptr);
        EXPECT_EQ(hints.ai_next, nullptr);
    }
}

TEST(UDPSocketOpen, asksForThePortAsDecimalText)
{
    EXPECT_EQ(askedFor(0, ADDRESS_FAMILY_IPV4, "").service, "0");
    EXPECT_EQ(askedFor(5060, ADDRESS_FAMILY_IPV4, "").service, "5060");
    EXPECT_EQ(askedFor(4294967295u, ADDRESS_FAMILY_IPV4, "").service, "4294967295");
}

TEST(UDPSocketOpen, asksForNoHostWhereNoAddressIsGiven)
{
    EXPECT_FALSE(askedFor(1, ADDRESS_FAMILY_IPV4, "").hasNode);
    EXPECT_EQ(askedFor(1, ADDRESS_FAMILY_IPV4, "pbx.example").node, "pbx.example");
}

TEST(UDPSocketOpen, keepsTheFamilyThatWasAskedForNotTheResolvers)
{
    UDPSocket socket;
    const unsigned short port = peers::freePort();
    ASSERT_GE(socket.open(port, ADDRESS_FAMILY_NONE, "", "127.0.0.1"), 0);
    EXPECT_EQ(socket.family(), 0);
    EXPECT_EQ(socket.localPort(), htons(port));
}

TEST(UDPSocketOpen, tellsThePortManagerOnceOfABoundPort)
{
    Told manager;
    const InForce force(manager);
    EXPECT_EQ(UDPSocket::getPortMgr(), &manager);
    UDPSocket socket;
    const unsigned short port = peers::freePort();
    ASSERT_GE(socket.open(port, ADDRESS_FAMILY_IPV4, "call control", ""), 0);
    EXPECT_EQ(manager.owners, std::vector<std::string>{"call control"});
    EXPECT_EQ(manager.ports, std::vector<unsigned int>{htons(port)});
    socket.close();
    EXPECT_EQ(manager.owners.size(), 1u) << "released ports are not told";
}

TEST(UDPSocketOpen, needsNoPortManager)
{
    EXPECT_EQ(UDPSocket::getPortMgr(), nullptr);
    UDPSocket socket;
    EXPECT_GE(socket.open(peers::freePort(), ADDRESS_FAMILY_IPV4, "owner", ""), 0);
}

TEST(UDPSocketOpen, closesAnOpenSocketFirstAndComplainsWithTheRequestedPort)
{
    UDPSocket socket;
    const int first = socket.open(0, ADDRESS_FAMILY_IPV4, "", "");
    ASSERT_GE(first, 0);
    const unsigned short port = peers::freePort();
    const Captured errors(2);
    const RecordedLog log;
    const int second = socket.open(port, ADDRESS_FAMILY_IPV4, "", "");
    EXPECT_GE(second, 0);
    const std::string complaint =
        "UDPSocket::open(): socket already opened on " + std::to_string(port);
    EXPECT_EQ(errors.text(), complaint);
    const std::vector<LogLine> expected = {
        {LOG_INFO, complaint},
        {LOG_INFO, "Closing socket " + std::to_string(first) + ", family 2, port 0\n"}};
    EXPECT_EQ(log.lines(), expected);
    EXPECT_EQ(second, first) << "the old descriptor is free again";
}

TEST(UDPSocketOpen, ofAClosedSocketSaysNothing)
{
    const Captured errors(2);
    const RecordedLog log;
    UDPSocket socket;
    EXPECT_GE(socket.open(peers::freePort(), ADDRESS_FAMILY_IPV4, "", ""), 0);
    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(log.lines().empty());
}
