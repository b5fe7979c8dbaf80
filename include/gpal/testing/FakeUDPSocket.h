/// \file
/// A datagram socket on the network in memory.
#ifndef GPAL_TESTING_FAKEUDPSOCKET_H
#define GPAL_TESTING_FAKEUDPSOCKET_H

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>

#include <gpal/testing/DatagramExchange.h>
#include <gpal/UDPSocket.h>

namespace gpal::testing
{

/// Has the functions of `UDPSocket`, which has no interface to derive from: code that takes its
/// socket class as a template argument is tested with this one. It belongs to the
/// `DatagramExchange` that lives when it is opened; with none, `open` fails with ENETDOWN.
///
/// Results and `errno` are those of `UDPSocket`, whose port manager is told of bound ports. Ports
/// alone count: local and remote addresses are taken without a look, and a datagram's sender has
/// the loopback address. Nothing is logged. A socket belongs to one thread at a time. `read` is a
/// cancellation point where it waits.
class FakeUDPSocket
{
public:
    FakeUDPSocket() = default;
    /// Opened, as by `UDPSocket`.
    FakeUDPSocket(unsigned int port, const std::string& owner)
    {
        open(port, ADDRESS_FAMILY_IPV4, owner, {});
    }
    FakeUDPSocket(const FakeUDPSocket&) = delete;
    FakeUDPSocket& operator=(const FakeUDPSocket&) = delete;
    ~FakeUDPSocket() { close(); }

    /// As `UDPSocket::open`.
    int open(unsigned int port, AddressFamily family, const std::string& owner,
             std::string /*address*/)
    {
        close();
        m_network = DatagramExchange::m_current;
        if (m_network == nullptr) {
            return fail(ENETDOWN);
        }
        const int domain = family == ADDRESS_FAMILY_NONE ? AF_INET : static_cast<int>(family);
        if (domain != AF_INET && domain != AF_INET6) {
            return fail(EADDRNOTAVAIL);
        }
        const auto mailbox = std::make_shared<DatagramExchange::Mailbox>();
        const unsigned int bound = port & UINT16_MAX; // what fits into a socket address
        if (mailbox->descriptor < 0 || (bound != 0 && !m_network->bind({domain, bound}, mailbox))) {
            return fail(mailbox->descriptor < 0 ? errno : EADDRINUSE);
        }
        m_mailbox = mailbox;
        m_domain = domain;
        m_family = family;
        m_port = bound;
        m_localPort = htons(static_cast<in_port_t>(bound));
        tellPortManager(owner);
        m_closed = !isOpen();
        return socketHandle();
    }

    /// As `UDPSocket::close`.
    int close()
    {
        if (isOpen() && m_port != 0) {
            m_network->unbind({m_domain, m_port});
        }
        m_mailbox = nullptr;
        m_port = 0;
        m_localPort = 0;
        m_family = ADDRESS_FAMILY_NONE;
        m_closed = true;
        return 0;
    }

    /// As `UDPSocket::read`.
    int read(char* buf, unsigned int len, sockaddr* from, unsigned int* fromLen)
    {
        if (isOpen() && from != nullptr && fromLen == nullptr) {
            return fail(EFAULT);
        }
        unsigned int port = 0;
        const int result = receive(buf, len, port);
        if (result != -1 && from != nullptr) {
            const Address sender = addressOf(port);
            std::memcpy(from, &sender.any, std::min(*fromLen, sender.length));
            *fromLen = sender.length;
        }
        return result;
    }

    /// As `UDPSocket::read`.
    int read(char* buf, int len, unsigned int& ip, unsigned short& port)
    {
        unsigned int sender = 0;
        const int result =
            len < 0 ? fail(EINVAL) : receive(buf, static_cast<unsigned int>(len), sender);
        if (result != -1) {
            ip = htonl(INADDR_LOOPBACK);
            port = static_cast<unsigned short>(sender);
        }
        return result;
    }

    /// As `UDPSocket::write`.
    int write(char* buf, int len, unsigned int /*ip*/, unsigned short port)
    {
        openIfNew();
        return len < 0 ? fail(EINVAL) : send(buf, static_cast<unsigned int>(len), port);
    }

    /// As `UDPSocket::write`.
    int write(const char* buf, unsigned int len, sockaddr* to, unsigned int* toLen)
    {
        openIfNew();
        if (toLen == nullptr) {
            return fail(EFAULT);
        }
        if (to == nullptr || *toLen < sizeof(sockaddr_in)) {
            return isOpen() && len > 0 ? fail(to == nullptr ? EDESTADDRREQ : EINVAL)
                                       : send(buf, len, 0);
        }
        // The port stands in the same place in addresses of IPv4 and of IPv6.
        return send(buf, len, ntohs(reinterpret_cast<const sockaddr_in*>(to)->sin_port));
    }

    /// As `UDPSocket::write`.
    int write(const char* buf, unsigned int len, const std::string& /*ip*/, unsigned int port)
    {
        if (m_family == ADDRESS_FAMILY_NONE) {
            return fail(EAFNOSUPPORT);
        }
        return send(buf, len, port & UINT16_MAX);
    }

    /// As `UDPSocket::setPriority`.
    int setPriority(unsigned char priority)
    {
        if (m_family == ADDRESS_FAMILY_NONE) {
            return -1;
        }
        m_priority = priority;
        return 0;
    }

    /// A descriptor that can be read while a datagram waits, for `select` and `poll`; -1 while
    /// closed.
    int socketHandle() const { return isOpen() ? m_mailbox->descriptor : -1; }
    /// As `UDPSocket::localPort`.
    int localPort() const { return m_localPort; }
    /// As `UDPSocket::family`.
    int family() const { return m_family; }

    /// The DSCP that was set last; 0 before.
    unsigned char priority() const { return m_priority; }

    /// Those of `UDPSocket`: there is one port manager.
    static void setPortMgr(PortMgmtIfc* manager) { UDPSocket::setPortMgr(manager); }
    /// As `UDPSocket::getPortMgr`.
    static PortMgmtIfc* getPortMgr() { return UDPSocket::getPortMgr(); }

private:
    struct Address {
        sockaddr_storage any;
        unsigned int length;
    };

    static int fail(int error)
    {
        errno = error;
        return -1;
    }

    bool isOpen() const { return m_mailbox != nullptr; }

    void openIfNew()
    {
        if (!isOpen() && !m_closed) {
            open(0, ADDRESS_FAMILY_IPV4, {}, {});
        }
    }

    void tellPortManager(const std::string& owner)
    {
        if (m_port == 0 || getPortMgr() == nullptr) {
            return;
        }
        try {
            getPortMgr()->portOpened(owner, static_cast<unsigned int>(m_localPort));
        } catch (...) {
            close();
            throw;
        }
    }

    Address addressOf(unsigned int port) const
    {
        Address address{};
        if (m_domain == AF_INET6) {
            sockaddr_in6 ip6{};
            ip6.sin6_family = AF_INET6;
            ip6.sin6_port = htons(static_cast<in_port_t>(port));
            ip6.sin6_addr = in6addr_loopback;
            address.length = sizeof ip6;
            std::memcpy(&address.any, &ip6, sizeof ip6);
        } else {
            sockaddr_in ip4{};
            ip4.sin_family = AF_INET;
            ip4.sin_port = htons(static_cast<in_port_t>(port));
            ip4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            address.length = sizeof ip4;
            std::memcpy(&address.any, &ip4, sizeof ip4);
        }
        return address;
    }

    int receive(char* buf, unsigned int len, unsigned int& senderPort)
    {
        if (!isOpen()) {
            return fail(EBADF);
        }
        if (buf == nullptr && len > 0) {
            return fail(EFAULT);
        }
        if (m_network->emptyRead == DatagramExchange::INTERRUPTED && !hasDatagram()) {
            return fail(EINTR);
        }
        if (!m_mailbox->await()) {
            return -1;
        }
        const std::lock_guard<std::mutex> guard(m_network->mutex);
        const DatagramExchange::Datagram datagram = std::move(m_mailbox->datagrams.front());
        m_mailbox->datagrams.pop_front();
        senderPort = datagram.from;
        return static_cast<int>(datagram.bytes.copy(buf, len));
    }

    bool hasDatagram() const
    {
        const std::lock_guard<std::mutex> guard(m_network->mutex);
        return !m_mailbox->datagrams.empty();
    }

    int send(const char* buf, unsigned int len, unsigned int port)
    {
        constexpr unsigned int LONGEST_IPV4 = 65507;
        constexpr unsigned int LONGEST_IPV6 = 65527;
        if (!isOpen()) {
            return fail(EBADF);
        }
        if (len > (m_domain == AF_INET6 ? LONGEST_IPV6 : LONGEST_IPV4)) {
            return fail(EMSGSIZE);
        }
        if (len == 0) {
            return 0;
        }
        if (port == 0 || buf == nullptr) {
            return fail(port == 0 ? EINVAL : EFAULT);
        }
        bindIfUnbound();
        const DatagramExchange::Datagram datagram{m_port, port, std::string(buf, len)};
        {
            const std::lock_guard<std::mutex> guard(m_network->mutex);
            m_network->sent.push_back(datagram);
        }
        m_network->deliver(m_domain, datagram);
        return static_cast<int>(len);
    }

    /// As the kernel does with the first datagram of a socket that is bound to no port.
    void bindIfUnbound()
    {
        while (m_port == 0) {
            const unsigned int port = [&] {
                const std::lock_guard<std::mutex> guard(m_network->mutex);
                return m_network->nextFreePort++;
            }();
            m_port = m_network->bind({m_domain, port}, m_mailbox) ? port : 0;
        }
    }

    std::shared_ptr<DatagramExchange::Network> m_network;
    std::shared_ptr<DatagramExchange::Mailbox> m_mailbox; ///< null while closed
    AddressFamily m_family = ADDRESS_FAMILY_NONE;
    int m_domain = AF_INET;
    unsigned int m_port = 0; ///< as a plain number, one that was bound by sending too
    int m_localPort = 0;
    bool m_closed = false;
    unsigned char m_priority = 0;
};

} // namespace gpal::testing

#endif
