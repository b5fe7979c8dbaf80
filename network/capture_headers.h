/// \file
/// The headers of a capture file and of the packets in it, as plain bytes.
///
/// Fields of the file format are little-endian, those of the packets in network order.
#ifndef GPAL_NETWORK_CAPTURE_HEADERS_H
#define GPAL_NETWORK_CAPTURE_HEADERS_H

#include <array>
#include <cstddef>

namespace gpal::detail
{

constexpr int FILE_HEADER_SIZE = 24;
constexpr int RECORD_HEADER_SIZE = 16;
constexpr int ETHERNET_SIZE = 14;
constexpr int IPV4_SIZE = 20;
constexpr int LINK_AND_NETWORK_SIZE = ETHERNET_SIZE + IPV4_SIZE;
constexpr int VLAN_TAG_SIZE = 4;
constexpr int UDP_SIZE = 8;
constexpr int TCP_SIZE = 20;

/// Where fields stand in a record's header, in the link and network header, and in those of the
/// transports.
constexpr int CAPTURED_LENGTH_AT = 8;
constexpr int ETHERNET_TYPE_AT = 12;
constexpr int TOTAL_LENGTH_AT = ETHERNET_SIZE + 2;
constexpr int PROTOCOL_AT = ETHERNET_SIZE + 9;
constexpr int CHECKSUM_AT = ETHERNET_SIZE + 10;
constexpr int SOURCE_ADDRESS_AT = ETHERNET_SIZE + 12;
constexpr int UDP_LENGTH_AT = 4;
constexpr int TCP_SOURCE_PORT_AT = 0;
constexpr int TCP_DESTINATION_PORT_AT = 2;

constexpr unsigned char PROTOCOL_TCP = 6;
constexpr unsigned char PROTOCOL_UDP = 17;
constexpr unsigned char VLAN_TYPE_FIRST_BYTE = 0x81;

/// Version 2.4, time stamps in UTC, at most 65,535 bytes a packet, Ethernet.
constexpr std::array<unsigned char, FILE_HEADER_SIZE> FILE_HEADER = {
    0xD4, 0xC3, 0xB2, 0xA1, 2, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0, 0, 1, 0, 0, 0};

/// IPv4 in Ethernet: don't fragment, 64 hops, UDP; addresses, length and checksum are zero.
constexpr std::array<unsigned char, LINK_AND_NETWORK_SIZE> LINK_AND_NETWORK_HEADER = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x08, 0x00, 0x45, 0, 0, 0, 0, 0, 0x40, 0, 64, PROTOCOL_UDP};

/// Port 5120 to 5120, no checksum.
constexpr std::array<unsigned char, UDP_SIZE> UDP_HEADER = {0x14, 0x00, 0x14, 0x00};

/// No flags, window 65,535, no checksum.
constexpr std::array<unsigned char, TCP_SIZE> TCP_HEADER = {0, 0, 0, 0, 0,    0, 0,    0,
                                                            0, 0, 0, 0, 0x50, 0, 0xFF, 0xFF};

constexpr unsigned int TCP_CLIENT_PORT = 1063;
constexpr unsigned int TCP_SERVER_PORT = 4060;

/// Stores the low 16 bits of \p value, high byte first.
constexpr void storeNetworkShort(unsigned char* at, unsigned int value)
{
    at[0] = static_cast<unsigned char>(value >> 8);
    at[1] = static_cast<unsigned char>(value);
}

constexpr void storeNetworkLong(unsigned char* at, unsigned int value)
{
    storeNetworkShort(at, value >> 16);
    storeNetworkShort(at + 2, value);
}

} // namespace gpal::detail

#endif
