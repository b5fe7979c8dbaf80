#include <gpal/NetworkPort.h>

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include "network/look_up.h"

NetworkPort::~NetworkPort() = default;

const char* NetworkPort::getIPAddress()
{
    char name[256] = "";
    if (gethostname(name, sizeof name - 1) != 0) {
        return m_address;
    }
    const hostent* host = gpal::detail::lookUp([&]() noexcept { return gethostbyname(name); });
    if (host == nullptr || host->h_addr_list[0] == nullptr) {
        return m_address;
    }
    in_addr address{};
    std::memcpy(&address, host->h_addr_list[0], sizeof address);
    m_address = inet_ntoa(address);
    std::printf("\nIPAddress is: %s\n", m_address);
    return m_address;
}
