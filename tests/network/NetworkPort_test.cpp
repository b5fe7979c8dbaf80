#include <gpal/NetworkPort.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <type_traits>

#include <gtest/gtest.h>

#include <gpal/NetworkUtils.h>

#include "support/network_calls.h"
#include "support/observed.h"

using support::Captured;
using support::Replacement;

namespace calls = support::calls;

namespace
{

/// A host with a name and some addresses, none of which can be looked up any more on request.
class Host
{
public:
    explicit Host(const std::vector<std::string>& addresses)
        : m_getName(calls::gethostname,
                    [this](char* name, size_t length) {
                        nameLength = length;
                        std::strcpy(name, "phone");
                        return hasName ? 0 : -1;
                    }),
          m_lookUp(calls::gethostbyname, [this](const char* name) {
              lookedUp.emplace_back(name);
              return isKnown ? &m_entry : nullptr;
          })
    {
        for (const std::string& address : addresses) {
            m_numbers.push_back(inet_addr(address.c_str()));
        }
        for (in_addr_t& number : m_numbers) {
            m_list.push_back(reinterpret_cast<char*>(&number));
        }
        m_list.push_back(nullptr);
        m_entry.h_addrtype = AF_INET;
        m_entry.h_length = sizeof(in_addr_t);
        m_entry.h_addr_list = m_list.data();
    }

    bool hasName = true;
    bool isKnown = true;
    size_t nameLength = 0;
    std::vector<std::string> lookedUp;

private:
    std::vector<in_addr_t> m_numbers;
    std::vector<char*> m_list;
    hostent m_entry{};
    Replacement<int(char*, size_t)> m_getName;
    Replacement<hostent*(const char*)> m_lookUp;
};

} // namespace

TEST(NetworkPort, givesAndPrintsTheFirstAddressOfTheHostsName)
{
    const Captured output(1);
    const Host host({"192.0.2.1", "192.0.2.2"});
    NetworkPort port;
    EXPECT_STREQ(port.getIPAddress(), "192.0.2.1");
    EXPECT_EQ(output.text(), "\nIPAddress is: 192.0.2.1\n");
    EXPECT_EQ(host.nameLength, 255u);
    EXPECT_EQ(host.lookedUp, std::vector<std::string>{"phone"});
}

TEST(NetworkPort, givesNothingWhenTheFirstLookUpFails)
{
    const Captured output(1);
    Host host({"192.0.2.1"});
    host.hasName = false;
    NetworkPort port;
    EXPECT_STREQ(port.getIPAddress(), "");
    EXPECT_TRUE(host.lookedUp.empty());
    host.hasName = true;
    host.isKnown = false;
    EXPECT_STREQ(port.getIPAddress(), "");
    EXPECT_EQ(NetworkUtils::getIPAddr(), "");
    EXPECT_EQ(output.text(), "");
}

TEST(NetworkPort, givesWhatItFoundLastWhenALookUpFails)
{
    const Captured output(1);
    Host host({"192.0.2.1"});
    NetworkPort port;
    const char* found = port.getIPAddress();
    host.isKnown = false;
    EXPECT_EQ(port.getIPAddress(), found);
    host.hasName = false;
    EXPECT_EQ(port.getIPAddress(), found);
    EXPECT_EQ(output.text(), "\nIPAddress is: 192.0.2.1\n");
    NetworkPort another;
    EXPECT_STREQ(another.getIPAddress(), "") << "each object remembers its own";
}

TEST(NetworkPort, keepsAPointerIntoTheCLibrarysText)
{
    const Captured quiet(1);
    const Host host(
        {"203.0.113.77"}); // as long as the other: some C libraries write texts from their end
    NetworkPort port;
    const char* found = port.getIPAddress();
    in_addr other{};
    other.s_addr = inet_addr("198.51.100.7");
    EXPECT_EQ(inet_ntoa(other), found);
    EXPECT_STREQ(found, "198.51.100.7");
}

TEST(NetworkPort, givesNothingForANameWithoutAddresses)
{
    const Host host({});
    NetworkPort port;
    EXPECT_STREQ(port.getIPAddress(), "");
}

TEST(NetworkPort, isMadeToBeDerivedFrom)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<NetworkPort>);
}

TEST(NetworkUtils, copiesTheAddressOfTheHost)
{
    const Captured output(1);
    const Host host({"192.0.2.1"});
    const std::string address = NetworkUtils::getIPAddr();
    in_addr other{};
    EXPECT_STREQ(inet_ntoa(other), "0.0.0.0");
    EXPECT_EQ(address, "192.0.2.1");
    EXPECT_EQ(output.text(), "\nIPAddress is: 192.0.2.1\n");
}
