// Classes of the network folder: virtual functions, fields and results.
#include "layout/layout.h"
#include <gpal/NetworkPort.h>
#include <gpal/NetworkUtils.h>
#include <gpal/packet_dump.h>
#include <gpal/UDPSocket.h>

namespace layout
{

#pragma GCC diagnostic ignored "-Winvalid-offsetof"
template struct InOrder<UDPSocket, offsetof(UDPSocket, m_socketHandle),
                        offsetof(UDPSocket, m_localPort), offsetof(UDPSocket, m_family),
                        offsetof(UDPSocket, m_closed), offsetof(UDPSocket, m_errorReported)>;

// Three numbers of 32 bits and two flags of 8, in every program.
static_assert(!std::is_polymorphic_v<UDPSocket> && sizeof(UDPSocket) == 16);
static_assert(sizeof(PortMgmtIfc) == sizeof(void*));
static_assert(sizeof(packet_dump) == sizeof(void*) && !std::is_polymorphic_v<packet_dump>);

static_assert(std::is_same_v<std::underlying_type_t<AddressFamily>, int> &&
              std::is_same_v<std::underlying_type_t<t_packet_dump_type>, int>);
static_assert(std::is_same_v<decltype(&UDPSocket::socketHandle), int (UDPSocket::*)() const> &&
              std::is_same_v<decltype(&UDPSocket::localPort), int (UDPSocket::*)() const> &&
              std::is_same_v<decltype(&UDPSocket::family), int (UDPSocket::*)() const> &&
              std::is_same_v<decltype(&UDPSocket::close), int (UDPSocket::*)()> &&
              std::is_same_v<decltype(&UDPSocket::setPriority), int (UDPSocket::*)(unsigned char)>);
static_assert(
    std::is_same_v<decltype(sendto_overNonBlocking),
                   int(int, const void*, unsigned int, int, const sockaddr*, unsigned int)> &&
    std::is_same_v<decltype(recvfrom_overNonBlocking),
                   int(int, void*, unsigned int, int, sockaddr*, unsigned int*)>);
static_assert(std::is_same_v<decltype(checksum_1), unsigned short(unsigned char*, int)> &&
              std::is_same_v<decltype(host_to_little_endian_long), int(int)> &&
              std::is_same_v<decltype(little_endian_to_host_long), int(int)>);
static_assert(
    std::is_same_v<decltype(NetworkUtils::stringIPAddressToInt),
                   unsigned int(const std::string&)> &&
    std::is_same_v<decltype(NetworkUtils::validateIPv6Address), bool(const std::string&)> &&
    std::is_same_v<decltype(NetworkUtils::sockaddrToString),
                   bool(const sockaddr*, std::string&, unsigned int&, unsigned int&)>);

using Socket = UDPSocket;
static_assert(
    isDeclared<int (Socket::*)(unsigned int, AddressFamily, const std::string&, std::string)>(
        &Socket::open) &&
    isDeclared<int (Socket::*)(char*, unsigned int, sockaddr*, unsigned int*)>(&Socket::read) &&
    isDeclared<int (Socket::*)(char*, int, unsigned int&, unsigned short&)>(&Socket::read) &&
    isDeclared<int (Socket::*)(char*, int, unsigned int, unsigned short)>(&Socket::write) &&
    isDeclared<int (Socket::*)(const char*, unsigned int, sockaddr*, unsigned int*)>(
        &Socket::write) &&
    isDeclared<int (Socket::*)(const char*, unsigned int, const std::string&, unsigned int)>(
        &Socket::write));

void networkSlots()
{
    inSlot<int (PortMgmtIfc::*)(const std::string&, unsigned int)>(&PortMgmtIfc::portOpened, 0);
    static_assert(std::has_virtual_destructor_v<PortMgmtIfc>);
    hasSlots<PortMgmtIfc>(3);
    hasOnlyItsDestructor<NetworkPort>();
}

} // namespace layout
