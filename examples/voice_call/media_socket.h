/// \file
/// The way of the packets through the network.
#ifndef VOICE_CALL_MEDIA_SOCKET_H
#define VOICE_CALL_MEDIA_SOCKET_H

#include <cstddef>
#include <cstdint>

#include <gpal/UDPSocket.h>

namespace voicecall
{

/// A UDP socket on the loopback interface, whose packets ask for expedited forwarding. The only
/// place of the program that knows about sockets. For one thread at a time.
class MediaSocket
{
public:
    /// Takes any free port of 127.0.0.1. Throws `std::runtime_error` when there is none.
    MediaSocket();
    MediaSocket(const MediaSocket&) = delete;
    MediaSocket& operator=(const MediaSocket&) = delete;

    /// Its own port, a plain number.
    std::uint16_t port() const { return m_port; }

    /// Sends one packet to \p port of 127.0.0.1. Returns whether all of it was sent.
    bool send(const std::uint8_t* packet, std::size_t size, std::uint16_t port);

    /// Waits for a packet for at most \p timeoutMs milliseconds. Returns its size, cut to
    /// \p capacity, with the sender's port in \p fromPort; -1 when none came.
    int receive(std::uint8_t* packet, std::size_t capacity, int timeoutMs, std::uint16_t& fromPort);

private:
    UDPSocket m_socket;
    std::uint16_t m_port = 0;
};

} // namespace voicecall

#endif
