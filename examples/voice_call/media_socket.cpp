#include "media_socket.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <stdexcept>

namespace voicecall
{

MediaSocket::MediaSocket(const NetworkAddress& local) : m_address(local)
{
    constexpr unsigned char EXPEDITED_FORWARDING = 46; // RFC 3246
    // The layer binds ports that are named, of every local address or of one that is a text. What
    // is wanted here is an address in binary form, and any port that the kernel has free.
    const int handle =
        m_socket.open(0, static_cast<AddressFamily>(local.family()), "voice_call", "");
    if (handle < 0 || bind(handle, m_address.plain(), *m_address.size()) != 0 ||
        getsockname(handle, m_address.plain(), m_address.size()) != 0) {
        throw std::runtime_error("cannot listen at " + local.text() + ": " + std::strerror(errno));
    }
    m_socket.setPriority(EXPEDITED_FORWARDING);
}

bool MediaSocket::send(const std::uint8_t* packet, std::size_t size, NetworkAddress to)
{
    // A UDPSocket is for one thread, and that is the one which reads: what any thread may use is
    // the layer's function below it.
    return sendto_overNonBlocking(m_socket.socketHandle(), packet, static_cast<unsigned int>(size),
                                  0, to.plain(), *to.size()) == static_cast<int>(size);
}

int MediaSocket::receive(std::uint8_t* packet, std::size_t capacity, int timeoutMs,
                         NetworkAddress& from)
{
    // The layer's read waits without limit: nobody could stop who is in there.
    pollfd waiting{m_socket.socketHandle(), POLLIN, 0};
    if (poll(&waiting, 1, timeoutMs) <= 0) {
        return -1;
    }
    from = NetworkAddress();
    return m_socket.read(reinterpret_cast<char*>(packet), static_cast<unsigned int>(capacity),
                         from.plain(), from.size());
}

} // namespace voicecall
