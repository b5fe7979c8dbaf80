#include "media_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace voicecall
{
namespace
{

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace

MediaSocket::MediaSocket() : m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof(address);
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (m_socket < 0 || bind(m_socket, plain, length) != 0 ||
        getsockname(m_socket, plain, &length) != 0) {
        const std::string reason = std::strerror(errno);
        if (m_socket >= 0) {
            close(m_socket);
        }
        throw std::runtime_error("cannot open a UDP socket on 127.0.0.1: " + reason);
    }
    m_port = ntohs(address.sin_port);
}

MediaSocket::~MediaSocket()
{
    close(m_socket);
}

bool MediaSocket::send(const std::uint8_t* packet, std::size_t size, std::uint16_t port) const
{
    const sockaddr_in to = loopback(port);
    return sendto(m_socket, packet, size, 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to)) ==
           static_cast<ssize_t>(size);
}

int MediaSocket::receive(std::uint8_t* packet, std::size_t capacity, int timeoutMs,
                         std::uint16_t& fromPort) const
{
    pollfd waiting{m_socket, POLLIN, 0};
    if (poll(&waiting, 1, timeoutMs) <= 0) {
        return -1;
    }
    sockaddr_in from{};
    socklen_t length = sizeof(from);
    // It may have gone again meanwhile: the kernel drops packets with a wrong checksum late.
    const ssize_t size = recvfrom(m_socket, packet, capacity, MSG_DONTWAIT,
                                  reinterpret_cast<sockaddr*>(&from), &length);
    fromPort = ntohs(from.sin_port);
    return static_cast<int>(size);
}

} // namespace voicecall
