#include "media_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>

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

MediaSocket::MediaSocket()
{
    constexpr unsigned char EXPEDITED_FORWARDING = 46; // RFC 3246
    // The layer binds ports that are named. Any free one is the kernel's to choose.
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof(address);
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    const int handle = m_socket.open(0, ADDRESS_FAMILY_IPV4, "voice_call", "127.0.0.1");
    if (handle < 0 || bind(handle, plain, length) != 0 ||
        getsockname(handle, plain, &length) != 0) {
        throw std::runtime_error(std::string("cannot open a UDP socket on 127.0.0.1: ") +
                                 std::strerror(errno));
    }
    m_port = ntohs(address.sin_port);
    m_socket.setPriority(EXPEDITED_FORWARDING);
}

bool MediaSocket::send(const std::uint8_t* packet, std::size_t size, std::uint16_t port)
{
    sockaddr_in to = loopback(port);
    unsigned int length = sizeof(to);
    return m_socket.write(reinterpret_cast<const char*>(packet), static_cast<unsigned int>(size),
                          reinterpret_cast<sockaddr*>(&to), &length) == static_cast<int>(size);
}

int MediaSocket::receive(std::uint8_t* packet, std::size_t capacity, int timeoutMs,
                         std::uint16_t& fromPort)
{
    // The layer's read waits without limit.
    pollfd waiting{m_socket.socketHandle(), POLLIN, 0};
    if (poll(&waiting, 1, timeoutMs) <= 0) {
        return -1;
    }
    unsigned int fromAddress = 0;
    return m_socket.read(reinterpret_cast<char*>(packet), static_cast<int>(capacity), fromAddress,
                         fromPort);
}

} // namespace voicecall
