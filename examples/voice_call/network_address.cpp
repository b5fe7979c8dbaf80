#include "network_address.h"

#include <arpa/inet.h>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <stdexcept>

#include "numbers.h"

namespace voicecall
{
namespace
{

const in_addr& ipv4(const sockaddr_storage& address)
{
    return reinterpret_cast<const sockaddr_in&>(address).sin_addr;
}

const in6_addr& ipv6(const sockaddr_storage& address)
{
    return reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
}

/// The two parts of "HOST", "HOST:PORT", "[HOST]", "[HOST]:PORT"; more than one colon outside of
/// brackets is an IPv6 address without a port.
void split(const std::string& text, std::string& host, std::string& port)
{
    const std::size_t bracket = text.rfind(']');
    const std::size_t colon = text.rfind(':');
    const bool isBracketed = !text.empty() && text.front() == '[' && bracket != std::string::npos;
    const bool hasPort = colon != std::string::npos &&
                         (isBracketed ? colon == bracket + 1 : text.find(':') == colon);
    host = hasPort ? text.substr(0, colon) : text;
    port = hasPort ? text.substr(colon + 1) : "";
    if (isBracketed) {
        host = host.substr(1, bracket - 1);
    }
}

} // namespace

NetworkAddress NetworkAddress::of(const std::string& text, std::uint16_t defaultPort)
{
    std::string host;
    std::string portText;
    split(text, host, portText);
    int port = defaultPort;
    if (host.empty() || (!portText.empty() && !readNumber(portText, 1, 65535, port))) {
        throw std::runtime_error(text + " is no HOST or HOST:PORT");
    }
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* list = nullptr;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (error != 0) {
        throw std::runtime_error(host + ": " + gai_strerror(error));
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> found(list, freeaddrinfo);
    NetworkAddress address;
    std::memcpy(&address.m_storage, found->ai_addr, found->ai_addrlen);
    address.m_size = found->ai_addrlen;
    return address;
}

NetworkAddress NetworkAddress::loopback(std::uint16_t port)
{
    NetworkAddress address = any(AF_INET, port);
    reinterpret_cast<sockaddr_in&>(address.m_storage).sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

NetworkAddress NetworkAddress::any(int family, std::uint16_t port)
{
    NetworkAddress address;
    address.m_storage.ss_family = static_cast<sa_family_t>(family);
    // The port stands in the same place in both.
    reinterpret_cast<sockaddr_in&>(address.m_storage).sin_port = htons(port);
    address.m_size = family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    return address;
}

std::uint16_t NetworkAddress::port() const
{
    return ntohs(reinterpret_cast<const sockaddr_in&>(m_storage).sin_port);
}

std::string NetworkAddress::text() const
{
    char host[INET6_ADDRSTRLEN] = "";
    const std::string behind = ":" + std::to_string(port());
    if (family() == AF_INET) {
        return inet_ntop(AF_INET, &ipv4(m_storage), host, sizeof host) + behind;
    }
    if (family() != AF_INET6) {
        return "";
    }
    // An address of IPv4 that came in by an IPv6 socket looks as by its own.
    const in6_addr& number = ipv6(m_storage);
    if (IN6_IS_ADDR_V4MAPPED(&number)) {
        return inet_ntop(AF_INET, &number.s6_addr[12], host, sizeof host) + behind;
    }
    return "[" + std::string(inet_ntop(AF_INET6, &number, host, sizeof host)) + "]" + behind;
}

bool NetworkAddress::operator==(const NetworkAddress& other) const
{
    return isSameHost(other) && port() == other.port();
}

bool NetworkAddress::isSameHost(const NetworkAddress& other) const
{
    if (family() != other.family()) {
        return false;
    }
    return family() == AF_INET6 ? IN6_ARE_ADDR_EQUAL(&ipv6(m_storage), &ipv6(other.m_storage))
                                : ipv4(m_storage).s_addr == ipv4(other.m_storage).s_addr;
}

} // namespace voicecall
