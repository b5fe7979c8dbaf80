/// \file
/// Datagram sockets (UDP, RFC 768) over IPv4 and IPv6.
///
/// Ports that a caller passes, or gets from `read`, are plain numbers. Where a port is said to be
/// "as it stands in the socket address" it is in network order on every processor, which on the
/// device is the plain number; a caller on a little-endian processor needs `ntohs` for it.
/// IPv4 addresses as integers are in network order.
#ifndef GPAL_UDPSOCKET_H
#define GPAL_UDPSOCKET_H

#include <string>
#include <sys/socket.h>

#include <gpal/export.h>

struct addrinfo;

/// The platform's address-family numbers; any other may be passed by a cast.
enum AddressFamily : int {
    ADDRESS_FAMILY_NONE = AF_UNSPEC, ///< a closed socket's
    ADDRESS_FAMILY_IPV4 = AF_INET,
    ADDRESS_FAMILY_IPV6 = AF_INET6
};

/// Is told which ports the sockets of the process have bound.
class GPAL_API PortMgmtIfc
{
public:
    /// A socket of \p owner (the text given to `UDPSocket::open`) has been bound to \p port, as it
    /// stands in the socket address. Called in the thread that opens; it may close that socket or
    /// open it anew, and `open` returns what it finds then. The result is ignored. When it throws,
    /// the socket is closed and the exception goes to the caller of `open`.
    virtual int portOpened(const std::string& owner, unsigned int port) = 0;
    virtual ~PortMgmtIfc();
};

/// A UDP socket that sends with a bounded wait and receives with an unbounded one.
///
/// No function throws, unless the port manager does. Failures come back as -1 with their reason in
/// `errno`, whatever the logger leaves there, and go to the system log. Failing reads and writes
/// are logged once until one succeeds again, so that a dead link does not flood the log.
///
/// A socket belongs to one thread at a time. `open`, `close`, `read` and `write` are cancellation
/// points, if there is something to close or send, and so is `setPriority`, when it fails, where
/// logging is one. A thread that is cancelled in `open` or `close` leaves the socket either open or
/// closed, and usable by another; it finishes the look-up of an address first. Cancellation unwinds
/// the stack: a `catch (...)` around these functions must rethrow.
class GPAL_API UDPSocket
{
public:
    /// A closed socket, which its first `write` to an address in binary form opens: unbound, IPv4.
    UDPSocket();

    /// Opens the socket on \p port of every local IPv4 address, as `open` does.
    UDPSocket(unsigned int port, const std::string& owner);

    UDPSocket(const UDPSocket&) = delete;
    UDPSocket& operator=(const UDPSocket&) = delete;

    /// Closes the socket, which no other thread may be using: one that is blocked in `read` is not
    /// woken. Not a cancellation point.
    ~UDPSocket();

    /// Opens the socket, close-on-exec and non-blocking, and binds it; one that is open is closed
    /// first, with a complaint.
    ///
    /// \param port    port to bind, as a plain number; 0 leaves the socket unbound: the kernel
    /// gives
    ///                it a port with the first datagram it sends
    /// \param family  family to resolve \p address in
    /// \param owner   text for the port manager, which is told of a bound port
    /// \param address local address, as text or host name; "" binds every local address
    /// \return the descriptor, or -1. Of several addresses the first that can be bound is taken;
    ///         `errno` is that of the last one. Of an address that can't be looked up it is the
    ///         resolver's own (EAI_SYSTEM), ENOMEM, EAGAIN, or else EADDRNOTAVAIL.
    int open(unsigned int port, AddressFamily family, const std::string& owner,
             std::string address);

    /// Closes the socket; it stays closed until the next `open`. Returns the result of the system's
    /// `close`, or 0 when nothing was open. A thread that is blocked in `read` meanwhile is not
    /// woken, and may go on with another file's descriptor: end it first (see `read`).
    int close();

    /// Waits without limit for a datagram and receives it. What ends the wait is a datagram, a
    /// signal handler (EINTR) or cancellation of the thread. So, to stop a reader, send its socket
    /// a datagram or cancel it, and join it before the socket is closed or destroyed.
    ///
    /// \param buf     takes at most \p len bytes; the rest of a longer datagram is lost
    /// \param from    takes the sender's address, null if that is not wanted
    /// \param fromLen size of \p from in bytes, replaced by that of the address
    /// \return bytes received, which may be 0, or -1
    int read(char* buf, unsigned int len, sockaddr* from, unsigned int* fromLen);

    /// The same on an IPv4 socket: \p ip takes the sender's address in network order, \p port its
    /// port as a plain number; neither is touched on failure.
    int read(char* buf, int len, unsigned int& ip, unsigned short& port);

    /// Sends \p len bytes to IPv4 address \p ip (network order) and \p port, as
    /// `sendto_overNonBlocking` does. Returns \p len, or -1.
    int write(char* buf, int len, unsigned int ip, unsigned short port);

    /// The same to the address \p to of \p toLen bytes. Neither is changed.
    int write(const char* buf, unsigned int len, sockaddr* to, unsigned int* toLen);

    /// The same to an address in text form, of the family that the socket was opened with. A text
    /// that is no address is not refused: the datagram then goes to the all-zero address, which
    /// the kernel takes for this host. A socket that was never opened is not opened by this: -1.
    int write(const char* buf, unsigned int len, const std::string& ip, unsigned int port);

    /// Sets the layer-3 priority of what is sent from now on: \p priority is the DSCP (RFC 2474),
    /// 0 to 63, for example 46 for expedited forwarding. Returns 0, or -1; for a socket that is
    /// closed or was opened for another family than IPv4 and IPv6, `errno` stays as it is.
    int setPriority(unsigned char priority);

    /// The descriptor; -1 while closed.
    int socketHandle() const;
    /// The bound port, as it stands in the socket address; 0 while not bound.
    int localPort() const;
    /// The family that `open` was asked for; 0 while closed.
    int family() const;

    /// Sets the port manager of all sockets of the process; null for none. It is not owned. Set it
    /// before other threads open sockets.
    static void setPortMgr(PortMgmtIfc* manager);
    /// The port manager that was set; null for none.
    static PortMgmtIfc* getPortMgr();

private:
    GPAL_INTERNAL bool openOn(const addrinfo& local, AddressFamily family, const std::string& owner,
                              const std::string& address);
    GPAL_INTERNAL void openIfNew();
    GPAL_INTERNAL bool noteResult(int result);
    GPAL_INTERNAL int noteWrite(int result);

    static PortMgmtIfc* m_portMgr;

    int m_socketHandle;
    int m_localPort;
    AddressFamily m_family;
    bool m_closed;
    bool m_errorReported;
};

extern "C" {

/// Sends one datagram over descriptor \p fd, which should be non-blocking, waiting until it can be
/// written to: some five seconds in all on one that stays blocked.
///
/// \param flags, to, toLen as for `sendto`
/// \return \p len when all was sent, 0 for \p len 0 (nothing is sent then); the result of `sendto`
///         when that is 0 or less; -1 with ETIMEDOUT when nothing could be sent in time, with lines
///         on standard error and in the system log; -1 with EBADF for a descriptor that `select`
///         can't hold, with EMSGSIZE for a length beyond INT_MAX.
///
/// May be called from any thread. A cancellation point, as it waits.
GPAL_API int sendto_overNonBlocking(int fd, const void* buf, unsigned int len, int flags,
                                    const sockaddr* to, unsigned int toLen);

/// Waits without limit until \p fd can be read from, then receives one datagram.
///
/// \param flags, from, fromLen as for `recvfrom`
/// \return the result of `recvfrom`; -1 when the wait failed, with EBADF for a descriptor that
///         `select` can't hold; -1 with EFAULT, without a wait, for a null \p buf of a length or a
///         \p from without \p fromLen.
///
/// May be called from any thread. A cancellation point.
GPAL_API int recvfrom_overNonBlocking(int fd, void* buf, unsigned int len, int flags,
                                      sockaddr* from, unsigned int* fromLen);
}

#endif
