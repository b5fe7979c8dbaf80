#include <gpal/UDPSocket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>

#include "base/cancellation.h"
#include "base/errno_kept.h"
#include "cancelled.h"
#include "network/look_up.h"
#include "network/reports.h"

using gpal::detail::CancellationHeldOff;
using gpal::detail::DestroyedIfCancelled;
using gpal::detail::ErrnoKept;
using gpal::detail::reportError;
using gpal::detail::reportFailure;
using gpal::detail::reportInfo;

namespace
{

struct FreeAddresses {
    void operator()(addrinfo* list) const
    {
        const ErrnoKept reason;
        freeaddrinfo(list);
    }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// What stands in `errno` for a failed look-up; the resolver counts its failures in its own way.
int reasonOf(int resolverError)
{
    if (resolverError == EAI_SYSTEM && errno != 0) {
        return errno;
    }
    if (resolverError == EAI_MEMORY) {
        return ENOMEM;
    }
    return resolverError == EAI_AGAIN ? EAGAIN : EADDRNOTAVAIL;
}

/// The local addresses to try. There are none, with a report, when \p address can't be resolved.
Addresses localAddresses(unsigned int port, AddressFamily family, const std::string& address)
{
    char service[20];
    std::snprintf(service, sizeof service, "%u", port);
    addrinfo hints{};
    hints.ai_flags = port != 0 ? AI_PASSIVE : 0;
    hints.ai_family = family;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* list = nullptr;
    const int error = gpal::detail::lookUp([&]() noexcept {
        return getaddrinfo(address.empty() ? nullptr : address.c_str(), service, &hints, &list);
    });
    if (error != 0) {
        errno = reasonOf(error);
        reportError("UDPSocket::open(): getaddrinfo error: [%s]\n", gai_strerror(error));
        return nullptr;
    }
    errno = EADDRNOTAVAIL; // the reason when the list is empty
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

/// A socket that can't be given an option is used without it.
void setOptions(int handle)
{
    if (fcntl(handle, F_SETFD, FD_CLOEXEC) == -1) {
        reportFailure("UDPSocket::open(): unable to set options on UDP SocketFD_CLOEXEC", " ",
                      "\n");
    }
    if (!setNonBlocking(handle)) {
        reportFailure("UDPSocket::open(): unable to set options on UDP SocketO_NONBLOCK", " ", "");
    }
}

/// Closes a socket that is being opened, unless that is done whichever way: a thread may be
/// cancelled in a report, and the port manager may throw.
class ClosedUnlessDone
{
public:
    explicit ClosedUnlessDone(UDPSocket& socket) : m_socket(socket) {}
    ClosedUnlessDone(const ClosedUnlessDone&) = delete;
    ClosedUnlessDone& operator=(const ClosedUnlessDone&) = delete;
    ~ClosedUnlessDone()
    {
        if (!m_isDone) {
            const CancellationHeldOff untilClosed;
            m_socket.close();
        }
    }

    void done() { m_isDone = true; }

private:
    UDPSocket& m_socket;
    bool m_isDone = false;
};

} // namespace

PortMgmtIfc::~PortMgmtIfc() = default;

PortMgmtIfc* UDPSocket::m_portMgr = nullptr;

void UDPSocket::setPortMgr(PortMgmtIfc* manager)
{
    m_portMgr = manager;
}

PortMgmtIfc* UDPSocket::getPortMgr()
{
    return m_portMgr;
}

int UDPSocket::open(unsigned int port, AddressFamily family, const std::string& owner,
                    std::string address)
{
    if (m_socketHandle >= 0) {
        // The line names the port that is asked for, not the descriptor: kept as it is part of the
        // interface.
        reportInfo("UDPSocket::open(): socket already opened on %d", static_cast<int>(port));
    }
    close();
    const Addresses list = localAddresses(port, family, address);
    const DestroyedIfCancelled listWhenCancelled(list);
    ClosedUnlessDone opening(*this);
    const DestroyedIfCancelled whenCancelled(opening);
    const addrinfo* local = list.get();
    while (local != nullptr && !openOn(*local, family, owner, address)) {
        local = local->ai_next;
    }
    opening.done();
    // The port manager may have closed the socket again.
    if (m_socketHandle >= 0) {
        m_errorReported = false;
        m_closed = false;
    }
    return m_socketHandle;
}

/// Opens the socket for one local address; returns false, with it closed, if that can't be had.
bool UDPSocket::openOn(const addrinfo& local, AddressFamily family, const std::string& owner,
                       const std::string& address)
{
    m_socketHandle = socket(local.ai_family, local.ai_socktype, local.ai_protocol);
    if (m_socketHandle < 0) {
        reportFailure("UDPSocket::open(): unable to open a UDP Socket", "", "\n");
        return false;
    }
    setOptions(m_socketHandle);
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
