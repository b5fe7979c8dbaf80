#include "network_address.h"

#include <cstring>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdexcept>

using voicecall::NetworkAddress;

namespace
{

std::string asRead(const std::string& text)
{
    return NetworkAddress::of(text, 5004).text();
}

} // namespace

TEST(NetworkAddress, isReadWithOrWithoutAPort)
{
    EXPECT_EQ(asRead("192.0.2.1"), "192.0.2.1:5004");
    EXPECT_EQ(asRead("192.0.2.1:6000"), "192.0.2.1:6000");
    EXPECT_EQ(asRead("::1"), "[::1]:5004");
    EXPECT_EQ(asRead("[::1]"), "[::1]:5004");
    EXPECT_EQ(asRead("[::1]:6000"), "[::1]:6000");
    EXPECT_EQ(asRead("2001:db8::1"), "[2001:db8::1]:5004");
    EXPECT_EQ(NetworkAddress::of("localhost:7", 5004).port(), 7);
}

TEST(NetworkAddress, isRefusedWhenItIsNone)
{
    for (const char* text :
         {"", ":5004", "host:0", "host:65536", "host:x", "[]:5", "192.0.2.1:-1"}) {
        EXPECT_THROW(asRead(text), std::runtime_error) << text;
    }
}

TEST(NetworkAddress, ofNobodyHasNoText)
{
    EXPECT_EQ(NetworkAddress().text(), "");
    EXPECT_EQ(NetworkAddress().port(), 0);
}

TEST(NetworkAddress, isComparedByHostAndPort)
{
    const NetworkAddress one = NetworkAddress::of("192.0.2.1:5", 0);
    EXPECT_TRUE(one == NetworkAddress::of("192.0.2.1:5", 0));
    EXPECT_FALSE(one == NetworkAddress::of("192.0.2.1:6", 0));
    EXPECT_TRUE(one.isSameHost(NetworkAddress::of("192.0.2.1:6", 0)));
    EXPECT_FALSE(one.isSameHost(NetworkAddress::of("192.0.2.2:5", 0)));
    EXPECT_FALSE(one.isSameHost(NetworkAddress()));
}

TEST(NetworkAddress, ofIpv4LooksTheSameThroughASocketOfIpv6)
{
    NetworkAddress mapped = NetworkAddress::any(AF_INET6, 5);
    const unsigned char bytes[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 192, 0, 2, 1};
    std::memcpy(&reinterpret_cast<sockaddr_in6*>(mapped.plain())->sin6_addr, bytes, sizeof bytes);
    EXPECT_EQ(mapped.text(), "192.0.2.1:5");
}
