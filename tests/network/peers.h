/// \file
/// What stands at the other end of the sockets under test, made of plain system calls.
#ifndef GPAL_TESTS_NETWORK_PEERS_H
#define GPAL_TESTS_NETWORK_PEERS_H

#include <netinet/in.h>
#include <string>
#include <sys/socket.h>

#include <gpal/UDPSocket.h>

namespace peers
{

/// An IPv4 or IPv6 socket address, as system calls take it.
class Address
{
public:
    Address() = default;
    Address(const std::string& text, unsigned short port);

    sockaddr* get() { return reinterpret_cast<sockaddr*>(&m_storage); }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&m_storage); }
    unsigned int* length() { return &m_length; }
    unsigned int size() const { return m_length; }

    std::string text() const;
    unsigned short port() const;

private:
    sockaddr_storage m_storage{};
    unsigned int m_length = sizeof m_storage;
};

struct Datagram {
    bool received = false;
    std::string content;
    Address from;
    int trafficClass = -1; ///< type of service or traffic class that it came with
};

/// A UDP socket bound to a port of its own.
class Peer
{
public:
    explicit Peer(const std::string& address = "127.0.0.1");
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer();

    bool isOpen() const { return m_descriptor >= 0; }
    int descriptor() const { return m_descriptor; }
    Address address() const;
    unsigned short port() const { return address().port(); }

    void send(const std::string& content, const Address& to) const;
    /// Waits for a datagram for at most \p seconds.
    Datagram receive(int seconds = 10) const;

private:
    int m_descriptor;
};

/// The address that a descriptor is bound to.
Address boundAddress(int descriptor);

/// A UDP port that nobody uses.
unsigned short freePort();

/// Whether this host has IPv6, on its loopback at least.
bool hasIPv6();

} // namespace peers

#endif
