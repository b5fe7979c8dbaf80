#include "hand_udp.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace hand
{

UdpSocket::UdpSocket() : m_descriptor(socket(AF_INET, SOCK_DGRAM, 0))
{
    fcntl(m_descriptor, F_SETFL, fcntl(m_descriptor, F_GETFL) | O_NONBLOCK);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        std::perror("bind");
        std::abort();
    }
}

UdpSocket::~UdpSocket()
{
    close(m_descriptor);
}

unsigned short UdpSocket::port() const
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

int UdpSocket::write(const char* data, int length, unsigned int ip, unsigned short port)
{
    fd_set writable;
    FD_ZERO(&writable);
    FD_SET(m_descriptor, &writable);
    timeval timeout{5, 0};
    if (select(m_descriptor + 1, nullptr, &writable, nullptr, &timeout) <= 0) {
        return -1;
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = ip;
    return static_cast<int>(sendto(m_descriptor, data, static_cast<std::size_t>(length), 0,
                                   reinterpret_cast<const sockaddr*>(&to), sizeof to));
}

int UdpSocket::read(char* data, int length, unsigned int& ip, unsigned short& port)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(m_descriptor, &readable);
    if (select(m_descriptor + 1, &readable, nullptr, nullptr, nullptr) == -1) {
        return -1;
    }
    sockaddr_in from{};
    socklen_t size = sizeof from;
    const auto received =
        static_cast<int>(recvfrom(m_descriptor, data, static_cast<std::size_t>(length), 0,
                                  reinterpret_cast<sockaddr*>(&from), &size));
    if (received != -1) {
        ip = from.sin_addr.s_addr;
        port = ntohs(from.sin_port);
    }
    return received;
}

} // namespace hand
