#include "peers.h"

#include <arpa/inet.h>
#include <cstring>
#include <sys/time.h>
#include <unistd.h>

namespace peers
{

Address::Address(const std::string& text, unsigned short port)
{
    auto* ipv4 = reinterpret_cast<sockaddr_in*>(&m_storage);
    auto* ipv6 = reinterpret_cast<sockaddr_in6*>(&m_storage);
    if (text.find(':') == std::string::npos) {
        ipv4->sin_family = AF_INET;
        ipv4->sin_port = htons(port);
        inet_pton(AF_INET, text.c_str(), &ipv4->sin_addr);
        m_length = sizeof *ipv4;
    } else {
        ipv6->sin6_family = AF_INET6;
        ipv6->sin6_port = htons(port);
        inet_pton(AF_INET6, text.c_str(), &ipv6->sin6_addr);
        m_length = sizeof *ipv6;
    }
}

std::string Address::text() const
{
    char text[INET6_ADDRSTRLEN] = "";
    if (m_storage.ss_family == AF_INET) {
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(&m_storage)->sin_addr, text,
                  sizeof text);
    } else {
        inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(&m_storage)->sin6_addr, text,
                  sizeof text);
    }
    return text;
}

unsigned short Address::port() const
{
    return ntohs(reinterpret_cast<const sockaddr_in*>(&m_storage)->sin_port);
}

Peer::Peer(const std::string& address)
{
    const Address wanted(address, 0);
    m_descriptor = socket(wanted.get()->sa_family, SOCK_DGRAM, 0);
    const int on = 1;
    if (wanted.get()->sa_family == AF_INET) {
        setsockopt(m_descriptor, IPPROTO_IP, IP_RECVTOS, &on, sizeof on);
    } else {
        setsockopt(m_descriptor, IPPROTO_IPV6, IPV6_RECVTCLASS, &on, sizeof on);
    }
    if (bind(m_descriptor, wanted.get(), wanted.size()) != 0) {
        close(m_descriptor);
        m_descriptor = -1;
    }
}

Peer::~Peer()
{
    if (isOpen()) {
        close(m_descriptor);
    }
}

Address Peer::address() const
{
    return boundAddress(m_descriptor);
}

void Peer::send(const std::string& content, const Address& to) const
{
    sendto(m_descriptor, content.data(), content.size(), 0, to.get(), to.size());
}

Datagram Peer::receive(int seconds) const
{
    const timeval patience{seconds, seconds == 0 ? 1 : 0};
    setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    Datagram datagram;
    char content[65536];
    iovec piece{content, sizeof content};
    alignas(cmsghdr) char control[256];
    msghdr message{};
    message.msg_name = datagram.from.get();
    message.msg_namelen = *datagram.from.length();
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t length = recvmsg(m_descriptor, &message, 0);
    if (length < 0) {
        return datagram;
    }
    datagram.received = true;
    datagram.content.assign(content, static_cast<std::size_t>(length));
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_TOS) {
            datagram.trafficClass = *CMSG_DATA(part);
        } else if (part->cmsg_level == IPPROTO_IPV6 && part->cmsg_type == IPV6_TCLASS) {
            std::memcpy(&datagram.trafficClass, CMSG_DATA(part), sizeof datagram.trafficClass);
        }
    }
    return datagram;
}

Address boundAddress(int descriptor)
{
    Address address;
    getsockname(descriptor, address.get(), address.length());
    return address;
}

unsigned short freePort()
{
    return Peer().port();
}

bool hasIPv6()
{
    return Peer("::1").isOpen();
}

} // namespace peers
