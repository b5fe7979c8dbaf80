/// \file
/// Where packets go to and come from.
#ifndef VOICE_CALL_NETWORK_ADDRESS_H
#define VOICE_CALL_NETWORK_ADDRESS_H

#include <cstdint>
#include <string>
#include <sys/socket.h>

namespace voicecall
{

/// A host's address, of IPv4 or IPv6, with a UDP port; or none.
class NetworkAddress
{
public:
    NetworkAddress() = default;

    /// Reads "HOST" or "HOST:PORT": a host's name or its address, that of IPv6 in brackets when a
    /// port follows. Throws `std::runtime_error` when it is neither, or no host is known by the
    /// name.
    static NetworkAddress of(const std::string& text, std::uint16_t defaultPort);

    /// A port of this host itself, by IPv4.
    static NetworkAddress loopback(std::uint16_t port);

    /// Every address of this host, of the family AF_INET or AF_INET6.
    static NetworkAddress any(int family, std::uint16_t port);

    int family() const { return m_storage.ss_family; }
    std::uint16_t port() const;
    /// "192.0.2.1:5004", "[2001:db8::1]:5004"; "" for none.
    std::string text() const;

    /// Whether hosts and ports are the same, or the hosts. To be asked of addresses from the same
    /// socket: one for IPv6 has its own form for those of IPv4.
    bool operator==(const NetworkAddress& other) const;
    bool isSameHost(const NetworkAddress& other) const;

    /// For calls that use the address, or store one: the address and its size.
    sockaddr* plain() { return reinterpret_cast<sockaddr*>(&m_storage); }
    unsigned int* size() { return &m_size; }

private:
    sockaddr_storage m_storage{};
    unsigned int m_size = sizeof(sockaddr_storage);
};

} // namespace voicecall

#endif
