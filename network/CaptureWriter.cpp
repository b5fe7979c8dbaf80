#include "network/CaptureWriter.h"

#include <cstring>
#include <sys/time.h>

namespace gpal::detail
{

CaptureWriter::CaptureWriter(const char* name) : m_file(name, "wb", "write")
{
    if (m_file.get() != nullptr) {
        std::setvbuf(m_file.get(), m_buffer, _IOFBF, sizeof m_buffer);
        std::fwrite(FILE_HEADER.data(), 1, FILE_HEADER.size(), m_file.get());
    }
}

int CaptureWriter::write(const char* payload, int length, t_packet_dump_type type)
{
    FILE* const stream = m_file.get();
    if (stream == nullptr) {
        return -1;
    }
    // All headers in one piece, so that the file takes two writes a record and not seven.
    unsigned char headers[RECORD_HEADER_SIZE + LINK_AND_NETWORK_SIZE + TCP_SIZE];
    unsigned char* const packet = headers + RECORD_HEADER_SIZE;
    const auto bytes = static_cast<unsigned int>(length);
    std::memcpy(packet, LINK_AND_NETWORK_HEADER.data(), LINK_AND_NETWORK_SIZE);
    const std::size_t headersSize = LINK_AND_NETWORK_SIZE + putTransportHeader(packet, bytes, type);
    const auto packetLength = static_cast<unsigned int>(headersSize) + bytes;
    storeNetworkShort(packet + TOTAL_LENGTH_AT, packetLength - ETHERNET_SIZE);
    storeNetworkShort(packet + CHECKSUM_AT, checksum_1(packet + ETHERNET_SIZE, IPV4_SIZE));

    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        std::puts("packet_dump::write gettimeofday failed");
    }
    const int fileLength = host_to_little_endian_long(static_cast<int>(packetLength));
    const int recordHeader[] = {host_to_little_endian_long(static_cast<int>(now.tv_sec)),
                                host_to_little_endian_long(static_cast<int>(now.tv_usec)),
                                fileLength, fileLength};
    static_assert(sizeof recordHeader == RECORD_HEADER_SIZE);
    std::memcpy(headers, recordHeader, sizeof recordHeader);

    // Others may flush the stream at any time (fflush(nullptr) flushes every stream of the
    // process): its own lock is held for the whole record.
    flockfile(stream);
    fwrite_unlocked(headers, 1, RECORD_HEADER_SIZE + headersSize, stream);
    fwrite_unlocked(payload, 1, bytes, stream);
    funlockfile(stream);
    return length;
}

/// Puts the transport header behind the link and network header \p packet, and what depends on it
/// into that one; returns its size. The protocol of a record without one is deliberately that of
/// the record before: viewers then show it beside the records it belongs to.
std::size_t CaptureWriter::putTransportHeader(unsigned char* packet, unsigned int length,
                                              t_packet_dump_type type)
{
    unsigned char* const transport = packet + LINK_AND_NETWORK_SIZE;
    std::size_t size = 0;
    if (type == PACKET_DUMP_UDP) {
        m_protocol = PROTOCOL_UDP;
        size = UDP_SIZE;
        std::memcpy(transport, UDP_HEADER.data(), UDP_SIZE);
        storeNetworkShort(transport + UDP_LENGTH_AT, length + UDP_SIZE);
    } else if (type == PACKET_DUMP_TCP_FORWARD || type == PACKET_DUMP_TCP_REVERSE) {
        const bool forward = type == PACKET_DUMP_TCP_FORWARD;
        m_protocol = PROTOCOL_TCP;
        size = TCP_SIZE;
        std::memcpy(transport, TCP_HEADER.data(), TCP_SIZE);
        storeNetworkShort(transport + TCP_SOURCE_PORT_AT,
                          forward ? TCP_CLIENT_PORT : TCP_SERVER_PORT);
        storeNetworkShort(transport + TCP_DESTINATION_PORT_AT,
                          forward ? TCP_SERVER_PORT : TCP_CLIENT_PORT);
        storeNetworkLong(packet + SOURCE_ADDRESS_AT, m_tcpRecords);
        m_tcpRecords += 1;
    }
    packet[PROTOCOL_AT] = m_protocol;
    return size;
}

} // namespace gpal::detail
