#include <gpal/NetworkUtils.h>

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <syslog.h>

#include <gpal/NetworkPort.h>

#include "base/console.h"

const std::string NetworkUtils::URL_ELEM_NOT_FOUND = "-1";
const std::string NetworkUtils::HTTPS_DEFAULT_PORT = "443";

namespace
{

constexpr auto NOWHERE = std::string::npos;

void dropThrough(std::string& text, const char* marker)
{
    const auto position = text.find(marker);
    if (position != NOWHERE) {
        text.erase(0, position + std::strlen(marker));
    }
}

/// Returns whether the marker was there.
bool dropFrom(std::string& text, char marker)
{
    const auto position = text.find(marker);
    if (position == NOWHERE) {
        return false;
    }
    text.erase(position);
    return true;
}

void keepHostAndPort(std::string& url)
{
    NetworkUtils::removeURLProtocol(url);
    NetworkUtils::removeURLUserAndPass(url);
    NetworkUtils::removeURLQueryString(url);
    NetworkUtils::removeURLPath(url);
}

bool isBracketed(const std::string& host)
{
    return !host.empty() && host.front() == '[';
}

} // namespace

void NetworkUtils::removeURLProtocol(std::string& url)
{
    dropThrough(url, "//");
}

void NetworkUtils::removeURLUserAndPass(std::string& url)
{
    dropThrough(url, "@");
}

void NetworkUtils::removeURLQueryString(std::string& url)
{
    dropFrom(url, '?');
}

void NetworkUtils::removeURLPath(std::string& url)
{
    dropFrom(url, '/');
}

void NetworkUtils::getURLPath(std::string& url)
{
    removeURLProtocol(url);
    removeURLUserAndPass(url);
    removeURLQueryString(url);
    const auto slash = url.find('/');
    if (slash == NOWHERE || slash + 1 == url.size()) {
        url = URL_ELEM_NOT_FOUND;
    } else {
        url.erase(0, slash);
    }
}

void NetworkUtils::getURLHost(std::string& url)
{
    keepHostAndPort(url);
    const bool hasBrackets = isBracketed(url);
    if (hasBrackets) {
        url.erase(0, 1);
    }
    // Cuts an IPv6 address without brackets at its first colon too: what follows can't be told from
    // a port.
    const bool isEnded = dropFrom(url, hasBrackets ? ']' : ':');
    if (url.empty() || (hasBrackets && !isEnded)) {
        url = URL_ELEM_NOT_FOUND;
    }
}

void NetworkUtils::getURLPort(std::string& url)
{
    keepHostAndPort(url);
    if (isBracketed(url)) {
        dropThrough(url, "]");
    }
    const auto colon = url.find(':');
    if (colon == NOWHERE || colon + 1 == url.size()) {
        url = URL_ELEM_NOT_FOUND;
    } else {
        url.erase(0, colon + 1);
    }
}

unsigned int NetworkUtils::stringIPAddressToInt(const std::string& address)
{
    in_addr converted{};
    return inet_aton(address.c_str(), &converted) != 0 ? converted.s_addr : 0;
}

bool NetworkUtils::validateIPv6Address(const std::string& address)
{
    in6_addr converted{};
    const bool isAddress = inet_pton(AF_INET6, address.c_str(), &converted) >= 1;
    std::printf("Tested IPv6 address '%s' and set ", address.c_str());
    for (std::size_t byte = 0; byte < sizeof converted.s6_addr; byte += 2) {
        std::printf("%02x%02x:", converted.s6_addr[byte], converted.s6_addr[byte + 1]);
    }
    // The last 32 bits are left out on purpose: a peer never has an address that is zero before
    // them, this host's own loopback included.
    bool isPeerAddress = false;
    for (int byte = 0; byte < 12; ++byte) {
        isPeerAddress = isPeerAddress || converted.s6_addr[byte] != 0;
    }
    const bool isValid = isAddress && isPeerAddress;
    std::printf(" return value was %i\n", isValid ? 1 : 0);
    return isValid;
}

std::string NetworkUtils::getIPAddr()
{
    return NetworkPort().getIPAddress();
}

bool NetworkUtils::sockaddrToString(const sockaddr* address, std::string& ip, unsigned int& port,
                                    unsigned int& family)
{
    family = address != nullptr ? address->sa_family : AF_UNSPEC;
    ip.clear();
    port = 0;
    const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(address);
    const void* number = nullptr;
    if (family == AF_INET) {
        number = &ipv4->sin_addr;
    } else if (family == AF_INET6) {
        number = &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    } else {
        gpal::detail::printReason("NetworkUtils::sockaddrToString(): unknown sockaddr family");
        syslog(LOG_ERR, "NetworkUtils::sockaddrToString(): unknown sockaddr family\n");
        return false;
    }
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(static_cast<int>(family), number, text, sizeof text);
    ip = text;
    port = ipv4->sin_port; // stands in the same place in both
    return true;
}
