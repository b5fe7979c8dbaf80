#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include <gpal/syslogger.h>

#include "base/cancellation.h"
#include "base/errno_kept.h"
#include "network/reports.h"

using gpal::detail::ErrnoKept;
using gpal::detail::reportError;
using gpal::detail::reportInfo;

namespace
{

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// The local addresses to try; none, with a report, when \p address can't be resolved.
Addresses localAddresses(unsigned int port, AddressFamily family, const std::string& address)
{
    char service[20];
    std::snprintf(service, sizeof service, "%u", port);
    addrinfo hints{};
    hints.ai_flags = port != 0 ? AI_PASSIVE : 0;
    hints.ai_family = family;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* list = nullptr;
    const int error =
        getaddrinfo(address.empty() ? nullptr : address.c_str(), service, &hints, &list);
    if (error != 0) {
        reportError("UDPSocket::open(): getaddrinfo error: [%s]\n", gai_strerror(error));
        return nullptr;
    }
    return Addresses(list);
}

/// The port field of a socket address; it stands in the same place in those of IPv4 and IPv6.
in_port_t portOf(const sockaddr& address)
{
    return reinterpret_cast<const sockaddr_in&>(address).sin_port;
}

bool setNonBlocking(int handle)
{
    const int flags = fcntl(handle, F_GETFL);
    return flags != -1 && fcntl(handle, F_SETFL, flags | O_NONBLOCK) != -1;
}

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

PortMgmtIfc::~PortMgmtIfc() = default;

PortMgmtIfc* UDPSocket::m_portMgr = nullptr;

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
    open(port, ADDRESS_FAMILY_IPV4, owner, "");
}

UDPSocket::~UDPSocket()
{
    const gpal::detail::CancellationHeldOff untilClosed;
    close();
}

int UDPSocket::open(unsigned int port, AddressFamily family, const std::string& owner,
                    std::string address)
{
    if (m_socketHandle >= 0) {
        // Maintainers know this line with the port that was asked for in the descriptor's place.
        reportInfo("UDPSocket::open(): socket already opened on %d", static_cast<int>(port));
    }
    close();
    const Addresses list = localAddresses(port, family, address);
    for (const addrinfo* local = list.get(); local != nullptr; local = local->ai_next) {
        if (openOn(*local, family, owner, address)) {
            m_errorReported = false;
            m_closed = false;
            break;
        }
    }
    return m_socketHandle;
}

/// Opens the socket for one local address; returns false, with it closed, if that can't be had.
bool UDPSocket::openOn(const addrinfo& local, AddressFamily family, const std::string& owner,
                       const std::string& address)
{
    m_socketHandle = socket(local.ai_family, local.ai_socktype, local.ai_protocol);
    if (m_socketHandle < 0) {
        const ErrnoKept reason;
        const int error = errno;
        std::perror("UDPSocket::open(): unable to open a UDP Socket");
        syslogger_error("UDPSocket::open(): unable to open a UDP Socket%s\n", std::strerror(error));
        return false;
    }
    setOptions();
    m_family = family;
    m_localPort = portOf(*local.ai_addr);
    if (m_localPort == 0) {
        return true;
    }
    if (bind(m_socketHandle, local.ai_addr, local.ai_addrlen) != 0) {
        const ErrnoKept reason;
        reportError(
            "UDPSocket::open(): unable to bind the UDP socket to a server port %s (%s %d)\n",
            std::strerror(errno), address.c_str(), m_localPort);
        close();
        return false;
    }
    if (m_portMgr != nullptr) {
        m_portMgr->portOpened(owner, static_cast<unsigned int>(m_localPort));
    }
    return true;
}

/// A socket that can't be given an option is used without it.
void UDPSocket::setOptions() const
{
    if (fcntl(m_socketHandle, F_SETFD, FD_CLOEXEC) == -1) {
        const int error = errno;
        std::perror("UDPSocket::open(): unable to set options on UDP SocketFD_CLOEXEC");
        syslogger_error("UDPSocket::open(): unable to set options on UDP SocketFD_CLOEXEC %s\n",
                        std::strerror(error));
    }
    if (!setNonBlocking(m_socketHandle)) {
        const int error = errno;
        std::perror("UDPSocket::open(): unable to set options on UDP SocketO_NONBLOCK");
        syslogger_error("UDPSocket::open(): unable to set options on UDP SocketO_NONBLOCK %s",
                        std::strerror(error));
    }
}

int UDPSocket::close()
{
    int result = 0;
    if (m_socketHandle >= 0) {
        syslogger_info("Closing socket %d, family %d, port %d\n", m_socketHandle, m_family,
                       m_localPort);
        result = ::close(m_socketHandle);
        if (result == -1) {
            const ErrnoKept reason;
            syslogger_error("Error closing socket %d, family %d, port %d: %s\n", m_socketHandle,
                            m_family, m_localPort, std::strerror(errno));
        }
    }
    m_localPort = 0;
    m_family = ADDRESS_FAMILY_NONE;
    m_closed = true;
    m_socketHandle = -1;
    return result;
}

/// The first write of a socket that nobody has opened or closed opens it.
void UDPSocket::openIfNew()
{
    if (m_socketHandle < 0 && !m_closed) {
        open(0, ADDRESS_FAMILY_IPV4, "", "");
    }
}

/// Whether a failure is the first of a run, which is the one to be logged.
bool UDPSocket::isNewFailure(int result)
{
    const bool isNew = result == -1 && !m_errorReported;
    m_errorReported = result == -1;
    return isNew;
}

int UDPSocket::read(char* buf, unsigned int len, sockaddr* from, unsigned int* fromLen)
{
    const int result = recvfrom_overNonBlocking(m_socketHandle, buf, len, 0, from, fromLen);
    if (isNewFailure(result)) {
        reportError("Read from socket %d, port %d failed %s\n", m_socketHandle, m_localPort,
                    std::strerror(errno));
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
    if (isNewFailure(result)) {
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
int UDPSocket::written(int result)
{
    if (isNewFailure(result)) {
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
        return written(-1);
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = ip;
    return written(sendto_overNonBlocking(m_socketHandle, buf, static_cast<unsigned int>(len), 0,
                                          reinterpret_cast<const sockaddr*>(&to), sizeof to));
}

int UDPSocket::write(const char* buf, unsigned int len, sockaddr* to, unsigned int* toLen)
{
    openIfNew();
    if (toLen == nullptr) {
        errno = EFAULT;
        return written(-1);
    }
    return written(sendto_overNonBlocking(m_socketHandle, buf, len, 0, to, *toLen));
}

int UDPSocket::write(const char* buf, unsigned int len, const std::string& ip, unsigned int port)
{
    sockaddr_in6 to6{};
    sockaddr_in to4{};
    const bool isIPv6 = m_family == AF_INET6;
    void* address = isIPv6 ? static_cast<void*>(&to6.sin6_addr) : &to4.sin_addr;
    // Only a family that has no text form counts: a text that is no address leaves the all-zero one
    // in place, which callers use to reach this host.
    if (inet_pton(m_family, ip.c_str(), address) < 0) {
        if (isNewFailure(-1)) {
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

void UDPSocket::setPortMgr(PortMgmtIfc* manager)
{
    m_portMgr = manager;
}

PortMgmtIfc* UDPSocket::getPortMgr()
{
    return m_portMgr;
}
