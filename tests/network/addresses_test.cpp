#include <gpal/NetworkUtils.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <sys/un.h>
#include <syslog.h>

#include <gtest/gtest.h>

#include "support/c_library.h"
#include "support/network_calls.h"
#include "support/observed.h"
#include "support/plain_thread.h"

using support::Captured;
using support::LogLine;
using support::RecordedLog;

namespace
{

struct Validation {
    bool result = false;
    std::string printed;
};

Validation validated(const std::string& address)
{
    const Captured output(1);
    Validation validation;
    validation.result = NetworkUtils::validateIPv6Address(address);
    validation.printed = output.text();
    return validation;
}

/// What a socket address is taken apart into; other values before, to see that all are set.
struct Parts {
    bool result = false;
    std::string ip = "before";
    unsigned int port = 4711;
    unsigned int family = 4711;
};

Parts partsOf(const sockaddr* address)
{
    Parts parts;
    parts.result = NetworkUtils::sockaddrToString(address, parts.ip, parts.port, parts.family);
    return parts;
}

} // namespace

TEST(IPv6Address, isValidForAPeer)
{
    const Validation of = validated("2001:db8::1");
    EXPECT_TRUE(of.result);
    EXPECT_EQ(of.printed, "Tested IPv6 address '2001:db8::1' and set "
                          "2001:0db8:0000:0000:0000:0000:0000:0001: return value was 1\n");
}

TEST(IPv6Address, isPrintedInNetworkOrder)
{
    const Validation of = validated("102:304:506:708:90a:b0c:d0e:f10");
    EXPECT_TRUE(of.result);
    EXPECT_EQ(of.printed, "Tested IPv6 address '102:304:506:708:90a:b0c:d0e:f10' and set "
                          "0102:0304:0506:0708:090a:0b0c:0d0e:0f10: return value was 1\n");
}

TEST(IPv6Address, isNoneWhenItsFirst96BitsAreZero)
{
    const Validation of = validated("::1");
    EXPECT_FALSE(of.result);
    EXPECT_EQ(of.printed, "Tested IPv6 address '::1' and set "
                          "0000:0000:0000:0000:0000:0000:0000:0001: return value was 0\n");
    EXPECT_FALSE(validated("::").result);
    EXPECT_FALSE(validated("::192.0.2.1").result);
    EXPECT_FALSE(validated("::ffff:ffff").result);
}

TEST(IPv6Address, isOneWithAnyOfItsFirst96Bits)
{
    EXPECT_TRUE(validated("8000::").result);
    EXPECT_TRUE(validated("0:1::").result);
    EXPECT_TRUE(validated("0:0:8000::").result);
    EXPECT_TRUE(validated("0:0:0:1::").result);
    EXPECT_TRUE(validated("0:0:0:0:8000::").result);
    EXPECT_TRUE(validated("::1:0:0").result);
    EXPECT_TRUE(validated("::ffff:192.0.2.1").result);
}

TEST(IPv6Address, isNoneWhenItIsNoAddress)
{
    for (const char* text : {"pbx", "", "192.0.2.1", "2001:db8::1::", "[2001:db8::1]"}) {
        const Validation of = validated(text);
        EXPECT_FALSE(of.result);
        EXPECT_EQ(of.printed, "Tested IPv6 address '" + std::string(text) +
                                  "' and set 0000:0000:0000:0000:0000:0000:0000:0000:"
                                  " return value was 0\n");
    }
}

TEST(IPv6Address, isNoneWhateverAFailedConversionLeaves)
{
    const support::Replacement convert(support::calls::inet_pton,
                                       [](int, const char*, void* address) {
                                           std::memset(address, 1, 16);
                                           return 0;
                                       });
    EXPECT_FALSE(validated("2001:db8::1").result);
}

TEST(IPv4Address, isConvertedToNetworkOrder)
{
    EXPECT_EQ(NetworkUtils::stringIPAddressToInt("192.0.2.1"), htonl(0xC0000201));
    EXPECT_EQ(NetworkUtils::stringIPAddressToInt("255.255.255.255"), 0xFFFFFFFFu);
}

TEST(IPv4Address, mayBeWrittenInShortAndInHexadecimal)
{
    GPAL_SKIP_BECAUSE(support::whyNoShortAddresses());
    EXPECT_EQ(NetworkUtils::stringIPAddressToInt("0xC0.513"), htonl(0xC0000201));
}

TEST(IPv4Address, isZeroWhenItIsNone)
{
    for (const char* text : {"0.0.0.0", "", "pbx", "256.1.1.1", "1.2.3.4.5", "::1"}) {
        EXPECT_EQ(NetworkUtils::stringIPAddressToInt(text), 0u) << text;
    }
}

TEST(SockaddrToString, takesAnIPv4AddressApart)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(5060);
    address.sin_addr.s_addr = inet_addr("192.0.2.1");
    const RecordedLog log;
    const Parts parts = partsOf(reinterpret_cast<const sockaddr*>(&address));
    EXPECT_TRUE(parts.result);
    EXPECT_EQ(parts.ip, "192.0.2.1");
    EXPECT_EQ(parts.port, htons(5060)) << "as it stands in the address";
    EXPECT_EQ(parts.family, 2u);
    EXPECT_TRUE(log.lines().empty());
}

TEST(SockaddrToString, takesAnIPv6AddressApart)
{
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(65535);
    for (const char* text : {"2001:db8::1", "1111:2222:3333:4444:5555:6666:255.255.255.255"}) {
        ASSERT_EQ(inet_pton(AF_INET6, text, &address.sin6_addr), 1);
        const Parts parts = partsOf(reinterpret_cast<const sockaddr*>(&address));
        EXPECT_TRUE(parts.result);
        in6_addr back{};
        ASSERT_EQ(inet_pton(AF_INET6, parts.ip.c_str(), &back), 1) << parts.ip;
        EXPECT_EQ(std::memcmp(&back, &address.sin6_addr, sizeof back), 0);
        EXPECT_EQ(parts.port, 65535u);
        EXPECT_EQ(parts.family, 10u);
    }
}

TEST(SockaddrToString, refusesAnyOtherFamily)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const Captured errors(2);
    const RecordedLog log;
    errno = EDOM;
    const Parts parts = partsOf(reinterpret_cast<const sockaddr*>(&address));
    EXPECT_FALSE(parts.result);
    EXPECT_EQ(parts.ip, "");
    EXPECT_EQ(parts.port, 0u);
    EXPECT_EQ(parts.family, 1u);
    const std::string message = "NetworkUtils::sockaddrToString(): unknown sockaddr family";
    EXPECT_EQ(errors.text(), message + ": " + std::strerror(EDOM) + "\n");
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, message + "\n"}}));
}

TEST(SockaddrToString, refusesANullAddress)
{
    const Captured errors(2);
    const RecordedLog log;
    const Parts parts = partsOf(nullptr);
    EXPECT_FALSE(parts.result);
    EXPECT_EQ(parts.ip, "");
    EXPECT_EQ(parts.port, 0u);
    EXPECT_EQ(parts.family, 0u);
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST(SockaddrToString, leavesStandardErrorToOthersWhenItIsCancelled)
{
    const Captured quiet(2);
    const RecordedLog log;
    EXPECT_TRUE(support::leavesStandardErrorUnlocked([] {
        pthread_cancel(pthread_self());
        partsOf(nullptr);
    }));
}
