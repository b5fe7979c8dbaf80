#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <syslog.h>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/network_calls.h"
#include "support/observed.h"

using support::LogLine;
using support::RecordedLog;
using support::Replacement;

namespace calls = support::calls;

namespace
{

struct Option {
    int descriptor = 0;
    int level = 0;
    int name = 0;
    std::string value;
};

/// The option that a `setPriority` sets.
Option optionSet(UDPSocket& socket, unsigned char priority, int result)
{
    Option option;
    const Replacement set(calls::setsockopt, [&](int descriptor, int level, int name,
                                                 const void* value, socklen_t size) {
        option = {descriptor, level, name, {static_cast<const char*>(value), size}};
        errno = EACCES;
        return result;
    });
    EXPECT_EQ(socket.setPriority(priority), result);
    return option;
}

std::string bytesOf(int value)
{
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

std::string complaint(int value, int handle, int error)
{
    return "Cannot set L3 Priority to " + std::to_string(value) + " for socket " +
           std::to_string(handle) + ": " + std::strerror(error) + "\n";
}

/// Whether an IPv6 peer learns the traffic class of a datagram; through an emulator it gets the
/// bytes in the wrong order.
bool tellsTrafficClasses(const peers::Peer& peer)
{
    const peers::Peer sender("::1");
    const int trafficClass = 32;
    setsockopt(sender.descriptor(), IPPROTO_IPV6, IPV6_TCLASS, &trafficClass, sizeof trafficClass);
    sender.send("probe", peer.address());
    return peer.receive().trafficClass == trafficClass;
}

} // namespace

TEST(UDPSocketPriority, standsInTheTypeOfServiceOfWhatIsSent)
{
    const peers::Peer peer;
    UDPSocket socket;
    ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    EXPECT_EQ(socket.setPriority(46), 0);
    ASSERT_EQ(socket.write("x", 1, "127.0.0.1", peer.port()), 1);
    EXPECT_EQ(peer.receive().trafficClass, 184);
    EXPECT_EQ(socket.setPriority(0), 0);
    ASSERT_EQ(socket.write("x", 1, "127.0.0.1", peer.port()), 1);
    EXPECT_EQ(peer.receive().trafficClass, 0);
}

TEST(UDPSocketPriority, standsInTheTrafficClassOfWhatIsSentOverIPv6)
{
    if (!peers::hasIPv6()) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    const peers::Peer peer("::1");
    if (!tellsTrafficClasses(peer)) {
        GTEST_SKIP() << "no traffic class arrives whole here, of whichever socket";
    }
    UDPSocket socket;
    ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV6, "", ""), 0);
    EXPECT_EQ(socket.setPriority(46), 0);
    ASSERT_EQ(socket.write("x", 1, "::1", peer.port()), 1);
    EXPECT_EQ(peer.receive().trafficClass, 184);
}

TEST(UDPSocketPriority, isAByteForIPv4)
{
    UDPSocket socket;
    const int handle = socket.open(0, ADDRESS_FAMILY_IPV4, "", "");
    const RecordedLog log;
    const Option option = optionSet(socket, 46, 0);
    EXPECT_EQ(option.descriptor, handle);
    EXPECT_EQ(option.level, IPPROTO_IP);
    EXPECT_EQ(option.name, IP_TOS);
    EXPECT_EQ(option.value, "\xB8");
    EXPECT_EQ(optionSet(socket, 63, 0).value, "\xFC");
    EXPECT_EQ(optionSet(socket, 65, 0).value, "\x04") << "modulo 256";
    EXPECT_EQ(optionSet(socket, 255, 5).value, "\xFC") << "any result is handed on";
    EXPECT_TRUE(log.lines().empty());
}

TEST(UDPSocketPriority, isAnIntegerForIPv6)
{
    const Replacement anySocket(calls::socket, [](int, int type, int protocol) {
        return calls::socket.original(AF_INET, type, protocol);
    });
    UDPSocket socket;
    const int handle = socket.open(0, ADDRESS_FAMILY_IPV6, "", "::1");
    ASSERT_GE(handle, 0);
    const Option option = optionSet(socket, 46, 0);
    EXPECT_EQ(option.descriptor, handle);
    EXPECT_EQ(option.level, IPPROTO_IPV6);
    EXPECT_EQ(option.name, IPV6_TCLASS);
    EXPECT_EQ(option.value, bytesOf(0xB8));
    EXPECT_EQ(optionSet(socket, 65, 0).value, bytesOf(0x04)) << "modulo 256";
}

TEST(UDPSocketPriority, thatIsRefusedIsAWarning)
{
    for (const AddressFamily family : {ADDRESS_FAMILY_IPV4, ADDRESS_FAMILY_IPV6}) {
        const Replacement anySocket(calls::socket, [](int, int type, int protocol) {
            return calls::socket.original(AF_INET, type, protocol);
        });
        UDPSocket socket;
        const int handle =
            socket.open(0, family, "", family == ADDRESS_FAMILY_IPV4 ? "127.0.0.1" : "::1");
        ASSERT_GE(handle, 0);
        const RecordedLog log;
        optionSet(socket, 46, -1);
        EXPECT_EQ(errno, EACCES);
        EXPECT_EQ(log.lines(),
                  (std::vector<LogLine>{{LOG_WARNING, complaint(184, handle, EACCES)}}));
        optionSet(socket, 65, -1);
        EXPECT_EQ(log.lines().back().text, complaint(4, handle, EACCES)) << "not throttled";
        EXPECT_EQ(log.lines().size(), 2u);
    }
}

TEST(UDPSocketPriority, ofAnyOtherFamilyFailsWithoutASystemCall)
{
    int settings = 0;
    const Replacement count(calls::setsockopt,
                            [&](int, int, int, const void*, socklen_t) { return ++settings; });
    const RecordedLog log;
    UDPSocket closed;
    errno = ENOTTY;
    EXPECT_EQ(closed.setPriority(46), -1);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_WARNING, complaint(184, -1, ENOTTY)}}));
    UDPSocket unspecified;
    ASSERT_GE(unspecified.open(0, ADDRESS_FAMILY_NONE, "", "127.0.0.1"), 0);
    EXPECT_EQ(unspecified.setPriority(46), -1);
    EXPECT_EQ(settings, 0);
}
