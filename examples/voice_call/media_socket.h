/// \file
/// The way of the packets through the network.
#ifndef VOICE_CALL_MEDIA_SOCKET_H
#define VOICE_CALL_MEDIA_SOCKET_H

#include <cstddef>
#include <cstdint>

#include <gpal/UDPSocket.h>

#include "network_address.h"

namespace voicecall
{

/// A UDP socket whose packets ask for expedited forwarding. The only place of the program that
/// knows about sockets. One thread may send while another one receives.
class MediaSocket
{
public:
    /// Takes the address \p local; any free port when its port is 0. Throws `std::runtime_error`
    /// when that can't be had.
    explicit MediaSocket(const NetworkAddress& local = NetworkAddress::loopback(0));
    MediaSocket(const MediaSocket&) = delete;
    MediaSocket& operator=(const MediaSocket&) = delete;

    /// Where it listens.
    const NetworkAddress& address() const { return m_address; }
    std::uint16_t port() const { return m_address.port(); }

    /// Sends one packet. Returns whether all of it was sent.
    bool send(const std::uint8_t* packet, std::size_t size, NetworkAddress to);

    /// Waits for a packet for at most \p timeoutMs milliseconds. Returns its size, cut to
    /// \p capacity, with its sender in \p from; -1 when none came.
    int receive(std::uint8_t* packet, std::size_t capacity, int timeoutMs, NetworkAddress& from);

private:
    UDPSocket m_socket;
    NetworkAddress m_address;
};

} // namespace voicecall

#endif
