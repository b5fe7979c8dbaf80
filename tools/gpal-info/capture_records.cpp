#include "capture_records.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace gpalinfo
{
namespace
{

constexpr std::size_t FILE_HEADER = 24;
constexpr std::size_t RECORD_HEADER = 16;
constexpr std::size_t ETHERNET = 14;
constexpr std::size_t VLAN_TAG = 4;
constexpr std::size_t IPV4 = 20;
constexpr std::size_t IPV6 = 40;
constexpr std::size_t UDP = 8;
constexpr std::size_t TCP = 20;
constexpr unsigned VLAN_TYPE = 0x8100;
constexpr unsigned IPV4_TYPE = 0x0800;
constexpr unsigned IPV6_TYPE = 0x86DD;
constexpr unsigned TCP_NUMBER = 6;
constexpr unsigned UDP_NUMBER = 17;
/// Room for the longest headers and for the first bytes of what they carry.
constexpr std::size_t BEGINNING = 256;

std::uint32_t littleEndian(const unsigned char* at)
{
    return at[0] | std::uint32_t{at[1]} << 8 | std::uint32_t{at[2]} << 16 |
           std::uint32_t{at[3]} << 24;
}

/// The beginning of a packet. What lies beyond it reads as 0.
class Packet
{
public:
    explicit Packet(const std::vector<unsigned char>& bytes) : m_bytes(bytes) {}

    unsigned byte(std::size_t at) const { return at < m_bytes.size() ? m_bytes[at] : 0U; }
    unsigned number(std::size_t at) const { return byte(at) << 8 | byte(at + 1); }

private:
    const std::vector<unsigned char>& m_bytes;
};

/// Where a packet's transport header stands and how long that and its payload are by the header
/// before.
struct Transport {
    unsigned protocol = 0;
    std::size_t at = 0;
    std::size_t size = 0;
};

Transport findTransport(const Packet& packet)
{
    const bool isTagged = packet.number(ETHERNET - 2) == VLAN_TYPE;
    const std::size_t network = ETHERNET + (isTagged ? VLAN_TAG : 0);
    const unsigned type = packet.number(network - 2);
    if (type == IPV4_TYPE && packet.byte(network) >> 4 == 4) {
        const std::size_t header =
            std::max<std::size_t>(IPV4, std::size_t{packet.byte(network) & 0xFU} * 4);
        const std::size_t total = packet.number(network + 2);
        return {packet.byte(network + 9), network + header, std::max(total, header) - header};
    }
    if (type == IPV6_TYPE) {
        return {packet.byte(network + 6), network + IPV6, packet.number(network + 4)};
    }
    return {};
}

/// The size of a UDP or TCP header; 0 for one that is neither, or contradicts the header before.
std::size_t transportHeader(const Packet& packet, const Transport& transport)
{
    if (transport.protocol == TCP_NUMBER && transport.size >= TCP) {
        return std::max<std::size_t>(TCP, std::size_t{packet.byte(transport.at + 12) >> 4} * 4);
    }
    const bool isUdp = transport.protocol == UDP_NUMBER && transport.size >= UDP;
    return isUdp && packet.number(transport.at + 4) == transport.size ? UDP : 0;
}

/// Fills in what the packet's headers say. Of \p size bytes that are there, \p bytes are the first.
void describe(const std::vector<unsigned char>& bytes, std::size_t size, CaptureRecord& record)
{
    const Packet packet(bytes);
    const Transport transport = findTransport(packet);
    const std::size_t header = transportHeader(packet, transport);
    if (header == 0 || size < transport.at + header) {
        return;
    }
    const std::size_t payload = transport.at + header;
    record.protocol = transport.protocol == UDP_NUMBER ? CaptureRecord::UDP : CaptureRecord::TCP;
    record.sourcePort = packet.number(transport.at);
    record.destinationPort = packet.number(transport.at + 2);
    // Short packets are filled up on the wire: the headers say where they end.
    record.payloadSize = std::min(size - payload, std::max(transport.size, header) - header);
    const std::size_t shown = std::min(payload + record.payloadSize, bytes.size());
    for (std::size_t at = payload; at < shown; ++at) {
        record.firstBytes.push_back(bytes[at]);
    }
}

} // namespace

CaptureRecords::CaptureRecords(std::FILE* stream) : m_stream(stream)
{
    static const std::array<unsigned char, 4> MAGIC{0xD4, 0xC3, 0xB2, 0xA1};
    constexpr std::size_t LINK_TYPE_AT = 20;
    constexpr std::uint32_t ETHERNET_LINK = 1;
    std::array<unsigned char, FILE_HEADER> header{};
    errno = 0;
    const std::size_t got = std::fread(header.data(), 1, header.size(), m_stream);
    if (std::ferror(m_stream) != 0) {
        stopAt(std::strerror(errno));
    } else if (got < MAGIC.size() || !std::equal(MAGIC.begin(), MAGIC.end(), header.begin())) {
        stopAt("not a packet capture file (little-endian, with microseconds)");
    } else if (got < FILE_HEADER) {
        stopAt("cut short in the file header");
    } else if (littleEndian(&header[LINK_TYPE_AT]) != ETHERNET_LINK) {
        stopAt("not a capture of Ethernet packets (link type " +
               std::to_string(littleEndian(&header[LINK_TYPE_AT])) + ")");
    }
}

bool CaptureRecords::read(CaptureRecord& record)
{
    if (!m_complaint.empty()) {
        return false;
    }
    std::array<unsigned char, RECORD_HEADER> header{};
    const std::size_t got = std::fread(header.data(), 1, header.size(), m_stream);
    if (got == 0 && std::ferror(m_stream) == 0) {
        return false;
    }
    ++m_records;
    const std::string cutShort = "cut short in record " + std::to_string(m_records);
    if (got < header.size()) {
        stopAt(cutShort);
        return false;
    }
    record = CaptureRecord();
    record.seconds = littleEndian(&header[0]);
    record.microseconds = littleEndian(&header[4]);
    const std::size_t captured = littleEndian(&header[8]);
    std::vector<unsigned char> beginning;
    const std::size_t there = readPacket(captured, beginning);
    describe(beginning, there, record);
    if (there < captured) {
        stopAt(cutShort);
    }
    return there == captured || there > 0;
}

/// Reads a packet of \p size bytes, which a damaged file may claim to be anything, and keeps its
/// beginning. Returns how many bytes there are.
std::size_t CaptureRecords::readPacket(std::size_t size, std::vector<unsigned char>& beginning)
{
    beginning.resize(std::min(size, BEGINNING));
    std::size_t there = std::fread(beginning.data(), 1, beginning.size(), m_stream);
    beginning.resize(there);
    std::array<unsigned char, 4096> skipped{};
    std::size_t got = there;
    while (there < size && got > 0) {
        got = std::fread(skipped.data(), 1, std::min(size - there, skipped.size()), m_stream);
        there += got;
    }
    return there;
}

/// Nothing more is read. A stream that failed has a better reason of its own.
void CaptureRecords::stopAt(const std::string& complaint)
{
    m_complaint = std::ferror(m_stream) != 0 && errno != 0 ? std::strerror(errno) : complaint;
}

} // namespace gpalinfo
