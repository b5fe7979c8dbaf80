/// \file
/// What a client without the layer would write for `UDPSocket`.
#ifndef GPAL_BENCHMARKS_HAND_UDP_H
#define GPAL_BENCHMARKS_HAND_UDP_H

#include <netinet/in.h>

namespace hand
{

/// A non-blocking socket, bound to a port of the loopback that the kernel chose.
class UdpSocket
{
public:
    UdpSocket();
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;
    ~UdpSocket();

    unsigned short port() const;

    /// Waits until the socket can be written to, five seconds at most, and sends.
    int write(const char* data, int length, unsigned int ip, unsigned short port);
    /// Waits for a datagram and receives it.
    int read(char* data, int length, unsigned int& ip, unsigned short& port);

private:
    int m_descriptor;
};

} // namespace hand

#endif
