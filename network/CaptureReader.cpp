#include "network/CaptureReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "network/capture_headers.h"

namespace gpal::detail
{
namespace
{

/// What is left of \p length without \p size; never below 0, though a file's lengths may be
/// anything.
int restOf(int length, int size)
{
    return std::max(length, size) - size;
}

int capturedLength(const unsigned char* recordHeader)
{
    int length = 0;
    std::memcpy(&length, recordHeader + CAPTURED_LENGTH_AT, sizeof length);
    return little_endian_to_host_long(length);
}

} // namespace

CaptureReader::CaptureReader(const char* name)
    : m_file(name, "rb", "read"), m_finished(m_file.get() == nullptr)
{
    if (!m_finished) {
        next(FILE_HEADER_SIZE);
    }
}

/// Time stamp, length on the wire and ports are of no interest.
int CaptureReader::read(char* buffer, int size, t_packet_dump_type& type)
{
    if (m_finished) {
        return -1;
    }
    const unsigned char* const headers = next(RECORD_HEADER_SIZE + LINK_AND_NETWORK_SIZE);
    if (headers == nullptr) {
        return -1;
    }
    const unsigned char* const packet = headers + RECORD_HEADER_SIZE;
    const int tagSize = packet[ETHERNET_TYPE_AT] == VLAN_TYPE_FIRST_BYTE ? VLAN_TAG_SIZE : 0;
    const bool isUdp = packet[PROTOCOL_AT + tagSize] == PROTOCOL_UDP;
    const int transportSize = isUdp ? UDP_SIZE : 0;
    const int payload =
        restOf(capturedLength(headers), LINK_AND_NETWORK_SIZE + tagSize + transportSize);
    if (next(tagSize + transportSize) == nullptr) {
        return -1;
    }
    type = isUdp ? PACKET_DUMP_UDP : PACKET_DUMP_OTHER;
    if (isUdp) {
        return getUdpPayload(buffer, size, payload);
    }
    copy(nullptr, payload);
    return 0;
}

int CaptureReader::getUdpPayload(char* buffer, int size, int payload)
{
    if (payload > size) {
        std::printf("packet_dump::read buffer not big enough, needed %d bytes\n", payload);
        m_finished = true; // so there is nothing to be found behind this payload
        return -1;
    }
    return copy(buffer, payload);
}

/// The next \p size bytes, a few, until more are asked for; null when there are fewer.
const unsigned char* CaptureReader::next(int size)
{
    const auto wanted = static_cast<std::size_t>(size);
    while (m_end - m_begin < wanted) {
        if (!refill()) {
            return nullptr;
        }
    }
    const unsigned char* const bytes = m_window + m_begin;
    m_begin += wanted;
    return bytes;
}

/// Copies the next \p size bytes, or skips them when \p into is null; returns how many there were.
int CaptureReader::copy(char* into, int size)
{
    auto left = static_cast<std::size_t>(size);
    while (left > 0 && (m_begin < m_end || refill())) {
        const std::size_t piece = std::min(left, m_end - m_begin);
        if (into != nullptr) {
            std::memcpy(into, m_window + m_begin, piece);
            into += piece;
        }
        m_begin += piece;
        left -= piece;
    }
    return size - static_cast<int>(left);
}

/// Reads on behind what is left, as far as there is something to read. Otherwise reading is over.
bool CaptureReader::refill()
{
    std::memmove(m_window, m_window + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    ssize_t got = 0;
    do {
        got = ::read(fileno(m_file.get()), m_window + m_end, sizeof m_window - m_end);
    } while (got == -1 && errno == EINTR);
    m_finished = got <= 0;
    m_end += m_finished ? 0 : static_cast<std::size_t>(got);
    return !m_finished;
}

} // namespace gpal::detail
