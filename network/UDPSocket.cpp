#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <pthread.h>
#include <unistd.h>

#include <gpal/syslogger.h>

#include "base/cancellation.h"
#include "base/errno_kept.h"
#include "network/reports.h"

using gpal::detail::CancellationHeldOff;
using gpal::detail::ErrnoKept;

namespace
{

/// Refuses a length below 0, which the kernel would take for an enormous one.
bool isLength(int length)
{
    if (length < 0) {
        errno = EINVAL;
        return false;
    }
    return true;
}

} // namespace

UDPSocket::UDPSocket()
    : m_socketHandle(-1),
      m_localPort(0),
      m_family(ADDRESS_FAMILY_NONE),
      m_closed(false),
      m_errorReported(false)
{
}

UDPSocket::UDPSocket(unsigned int port, const std::string& owner) : UDPSocket()
{
    open(port, ADDRESS_FAMILY_IPV4, owner, {});
}

UDPSocket::~UDPSocket()
{
    const CancellationHeldOff untilClosed;
    close();
}

int UDPSocket::close()
{
    const int handle = m_socketHandle;
    const int port = m_localPort;
    const int family = m_family;
    int result = 0;
    if (handle >= 0) {
        // A thread that is cancelled in here leaves the socket open. The log may be switched off.
        pthread_testcancel();
        syslogger_info("Closing socket %d, family %d, port %d\n", handle, family, port);
    }
    {
        // A closed descriptor's number is soon another's, so it is forgotten in the same step.
        const CancellationHeldOff untilForgotten;
        if (handle >= 0) {
            result = ::close(handle);
        }
        m_localPort = 0;
        m_family = ADDRESS_FAMILY_NONE;
        m_closed = true;
        m_socketHandle = -1;
    }
    if (result == -1) {
        const ErrnoKept reason;
        syslogger_error("Error closing socket %d, family %d, port %d: %s\n", handle, family, port,
                        std::strerror(errno));
    }
    return result;
}

/// The first write of a socket that nobody has opened or closed opens it.
void UDPSocket::openIfNew()
{
    if (m_socketHandle < 0 && !m_closed) {
        open(0, ADDRESS_FAMILY_IPV4, {}, {});
    }
}

/// Keeps account of how a read or write ended. Returns whether it began a run of failures, of which
/// the first is logged.
bool UDPSocket::noteResult(int result)
{
    const bool wasReported = m_errorReported;
    m_errorReported = result == -1;
    return m_errorReported && !wasReported;
}

int UDPSocket::read(char* buf, unsigned int len, sockaddr* from, unsigned int* fromLen)
{
    const int result = recvfrom_overNonBlocking(m_socketHandle, buf, len, 0, from, fromLen);
    if (noteResult(result)) {
        gpal::detail::reportError("Read from socket %d, port %d failed %s\n", m_socketHandle,
                                  m_localPort, std::strerror(errno));
    }
    return result;
}

int UDPSocket::read(char* buf, int len, unsigned int& ip, unsigned short& port)
{
    sockaddr_in from{};
    unsigned int fromLen = sizeof from;
    const int result =
        !isLength(len)
            ? -1
            : recvfrom_overNonBlocking(m_socketHandle, buf, static_cast<unsigned int>(len), 0,
                                       reinterpret_cast<sockaddr*>(&from), &fromLen);
    if (noteResult(result)) {
        const ErrnoKept reason;
        syslogger_error("Read from socket %d, port %d failed %s\n", m_socketHandle, m_localPort,
                        std::strerror(errno));
    }
    if (result != -1) {
        ip = from.sin_addr.s_addr;
        port = ntohs(from.sin_port);
    }
    return result;
}

/// Keeps account of a write's result, and hands it on.
int UDPSocket::noteWrite(int result)
{
    if (noteResult(result)) {
        const ErrnoKept reason;
        syslogger_error("Write to socket %d, port %d failed %s\n", m_socketHandle, m_localPort,
                        std::strerror(errno));
    }
    return result;
}

int UDPSocket::write(char* buf, int len, unsigned int ip, unsigned short port)
{
    openIfNew();
    if (!isLength(len)) {
        return noteWrite(-1);
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = ip;
    return noteWrite(sendto_overNonBlocking(m_socketHandle, buf, static_cast<unsigned int>(len), 0,
                                            reinterpret_cast<const sockaddr*>(&to), sizeof to));
}

int UDPSocket::write(const char* buf, unsigned int len, sockaddr* to, unsigned int* toLen)
{
    openIfNew();
    if (toLen == nullptr) {
        errno = EFAULT;
        return noteWrite(-1);
    }
    return noteWrite(sendto_overNonBlocking(m_socketHandle, buf, len, 0, to, *toLen));
}

int UDPSocket::write(const char* buf, unsigned int len, const std::string& ip, unsigned int port)
{
    sockaddr_in6 to6{};
    sockaddr_in to4{};
    const bool isIPv6 = m_family == AF_INET6;
    void* address = isIPv6 ? static_cast<void*>(&to6.sin6_addr) : &to4.sin_addr;
    // Only a family that has no text form counts. A text that is no address leaves the all-zero one
    // in place, which stands for this host: kept, as part of the interface.
    if (inet_pton(m_family, ip.c_str(), address) < 0) {
        pthread_testcancel(); // who tries for ever, on a closed socket, can be cancelled
        if (noteResult(-1)) {
            const ErrnoKept reason;
            syslogger_error("UDPSocket::write(): inet_pton error: [%s] for %s\n",
                            std::strerror(errno), ip.c_str());
        }
        return -1;
    }
    m_errorReported = false;
    if (isIPv6) {
        to6.sin6_family = AF_INET6;
        to6.sin6_port = htons(static_cast<in_port_t>(port));
        unsigned int length = sizeof to6;
        return write(buf, len, reinterpret_cast<sockaddr*>(&to6), &length);
    }
    to4.sin_family = static_cast<sa_family_t>(m_family);
    to4.sin_port = htons(static_cast<in_port_t>(port));
    unsigned int length = sizeof to4;
    return write(buf, len, reinterpret_cast<sockaddr*>(&to4), &length);
}

int UDPSocket::setPriority(unsigned char priority)
{
    const auto typeOfService =
        static_cast<unsigned char>(priority * 4); // below them: ECN, RFC 3168
    int result = -1;
    if (m_family == AF_INET) {
        result = setsockopt(m_socketHandle, IPPROTO_IP, IP_TOS, &typeOfService, 1);
    } else if (m_family == AF_INET6) {
        const int trafficClass = typeOfService & 0xFC;
        result = setsockopt(m_socketHandle, IPPROTO_IPV6, IPV6_TCLASS, &trafficClass,
                            sizeof trafficClass);
    }
    if (result == -1) {
        const ErrnoKept reason;
        syslogger_warning("Cannot set L3 Priority to %hhu for socket %d: %s\n", typeOfService,
                          m_socketHandle, std::strerror(errno));
    }
    return result;
}

int UDPSocket::socketHandle() const
{
    return m_socketHandle;
}

int UDPSocket::localPort() const
{
    return m_localPort;
}

int UDPSocket::family() const
{
    return m_family;
}
