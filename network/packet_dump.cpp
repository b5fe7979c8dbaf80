#include <gpal/packet_dump.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/time.h>

#include <gpal/CriticalSection.h>
#include <gpal/Semaphore.h>

#include "base/cancellation.h"
#include "network/capture_headers.h"
#include "network/ReadWindow.h"

using namespace gpal::detail;

namespace
{

enum State : unsigned int { UNOPENED = 0, WRITING = 1, READING = 2, FINISHED = 3 };

bool isTcp(t_packet_dump_type type)
{
    return type == PACKET_DUMP_TCP_FORWARD || type == PACKET_DUMP_TCP_REVERSE;
}

int atLeastZero(int length)
{
    return length > 0 ? length : 0;
}

/// Few system calls rather than little memory: captures are made of calls that are going on.
constexpr std::size_t STREAM_BUFFER_SIZE = 32768;

/// Puts a 32-bit field of the file format down and returns where the next one goes.
unsigned char* storeFileLong(unsigned char* at, unsigned int value)
{
    const int field = host_to_little_endian_long(static_cast<int>(value));
    std::memcpy(at, &field, sizeof field);
    return at + sizeof field;
}

int loadFileLong(const unsigned char* at)
{
    int field = 0;
    std::memcpy(&field, at, sizeof field);
    return little_endian_to_host_long(field);
}

} // namespace

struct packet_dump::Implementation {
    explicit Implementation(const char* file) : name(file != nullptr ? file : "") {}
    ~Implementation()
    {
        if (stream != nullptr) {
            std::fclose(stream);
        }
    }

    void openForWriting();
    void fillHeaders(unsigned int length, t_packet_dump_type type);
    void putRecord(const char* payload, unsigned int length, t_packet_dump_type type);

    void openForReading();
    bool get(void* into, std::size_t size);
    bool getPacketHeaders(int& remaining, unsigned char& protocol);
    int getRecord(char* buffer, int size, t_packet_dump_type& type);
    int getUdpPayload(char* buffer, int size, int payload);

    FILE* stream = nullptr;
    std::unique_ptr<char[]> streamBuffer; ///< when writing
    std::unique_ptr<ReadWindow> window;   ///< when reading, in place of the stream's buffer
    unsigned int packetCounter = 0;
    Semaphore lock{1, 1, false};
    std::array<unsigned char, LINK_AND_NETWORK_SIZE> linkAndNetworkHeader = LINK_AND_NETWORK_HEADER;
    std::array<unsigned char, UDP_SIZE> udpHeader = UDP_HEADER;
    std::array<unsigned char, TCP_SIZE> tcpHeader = TCP_HEADER;
    std::string name;
    /// Looked at before the lock is taken too: the wrong function fails without waiting for a
    /// record.
    std::atomic<unsigned int> state{UNOPENED};
};

packet_dump::packet_dump(char* file) : m_implementation(std::make_unique<Implementation>(file)) {}

packet_dump::~packet_dump()
{
    const CancellationHeldOff untilClosed;
    m_implementation.reset();
}

int packet_dump::write(char* payload, int length, t_packet_dump_type type)
{
    if (payload == nullptr || length < 0) {
        return -1;
    }
    const CancellationHeldOff untilWritten;
    if (m_implementation->state == UNOPENED) {
        m_implementation->openForWriting();
    }
    if (m_implementation->state != WRITING) {
        return -1;
    }
    const CriticalSection oneRecord(m_implementation->lock);
    const auto bytes = static_cast<unsigned int>(length);
    m_implementation->fillHeaders(bytes, type);
    if (m_implementation->stream == nullptr) {
        return -1;
    }
    m_implementation->putRecord(payload, bytes, type);
    return length;
}

/// Without memory for the buffer the object stays as it was.
void packet_dump::Implementation::openForWriting()
{
    streamBuffer.reset(new char[STREAM_BUFFER_SIZE]);
    stream = std::fopen(name.c_str(), "wb");
    if (stream == nullptr) {
        std::printf("packet_dump::write failed to fopen %s\n", name.c_str());
    } else {
        std::setvbuf(stream, streamBuffer.get(), _IOFBF, STREAM_BUFFER_SIZE);
        std::fwrite(FILE_HEADER.data(), 1, FILE_HEADER.size(), stream);
    }
    state = WRITING;
}

/// Brings the headers up to date for a payload. The protocol of a record without transport header
/// is deliberately left as it was: viewers then show it beside the records it belongs to.
void packet_dump::Implementation::fillHeaders(unsigned int length, t_packet_dump_type type)
{
    unsigned char* const header = linkAndNetworkHeader.data();
    unsigned int packetLength = length + LINK_AND_NETWORK_SIZE;
    storeNetworkLong(header + SOURCE_ADDRESS_AT, 0);
    if (type == PACKET_DUMP_UDP) {
        packetLength += UDP_SIZE;
        header[PROTOCOL_AT] = PROTOCOL_UDP;
        storeNetworkShort(udpHeader.data() + UDP_LENGTH_AT, length + UDP_SIZE);
    } else if (isTcp(type)) {
        const bool forward = type == PACKET_DUMP_TCP_FORWARD;
        packetLength += TCP_SIZE;
        header[PROTOCOL_AT] = PROTOCOL_TCP;
        storeNetworkShort(tcpHeader.data() + TCP_SOURCE_PORT_AT,
                          forward ? TCP_CLIENT_PORT : TCP_SERVER_PORT);
        storeNetworkShort(tcpHeader.data() + TCP_DESTINATION_PORT_AT,
                          forward ? TCP_SERVER_PORT : TCP_CLIENT_PORT);
        storeNetworkLong(header + SOURCE_ADDRESS_AT, packetCounter);
        packetCounter += 1;
    }
    storeNetworkShort(header + TOTAL_LENGTH_AT, packetLength - ETHERNET_SIZE);
    storeNetworkShort(header + CHECKSUM_AT, 0);
    storeNetworkShort(header + CHECKSUM_AT, checksum_1(header + ETHERNET_SIZE, IPV4_SIZE));
}

void packet_dump::Implementation::putRecord(const char* payload, unsigned int length,
                                            t_packet_dump_type type)
{
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        std::puts("packet_dump::write gettimeofday failed");
    }
    const unsigned char* transport = isTcp(type) ? tcpHeader.data() : udpHeader.data();
    const std::size_t transportSize = isTcp(type)               ? TCP_SIZE
                                      : type == PACKET_DUMP_UDP ? UDP_SIZE
                                                                : 0;
    const auto packetLength =
        length + LINK_AND_NETWORK_SIZE + static_cast<unsigned int>(transportSize);

    // All headers in one piece, so that the file takes two writes a record and not seven.
    unsigned char headers[RECORD_HEADER_SIZE + LINK_AND_NETWORK_SIZE + TCP_SIZE];
    unsigned char* at = storeFileLong(headers, static_cast<unsigned int>(now.tv_sec));
    at = storeFileLong(at, static_cast<unsigned int>(now.tv_usec));
    at = storeFileLong(at, packetLength);
    at = storeFileLong(at, packetLength);
    std::memcpy(at, linkAndNetworkHeader.data(), LINK_AND_NETWORK_SIZE);
    std::memcpy(at + LINK_AND_NETWORK_SIZE, transport, transportSize);
    const std::size_t headersSize = RECORD_HEADER_SIZE + LINK_AND_NETWORK_SIZE + transportSize;
    // Others may flush the stream at any time (fflush(nullptr) flushes every stream of the
    // process): its own lock is held for the whole record.
    flockfile(stream);
    fwrite_unlocked(headers, 1, headersSize, stream);
    fwrite_unlocked(payload, 1, length, stream);
    funlockfile(stream);
}

int packet_dump::read(char* buffer, int size, t_packet_dump_type* type)
{
    if (buffer == nullptr || type == nullptr) {
        return -1;
    }
    const CancellationHeldOff untilRead;
    if (m_implementation->state == UNOPENED) {
        m_implementation->openForReading();
    }
    if (m_implementation->state != READING) {
        return -1;
    }
    const CriticalSection oneRecord(m_implementation->lock);
    // Another thread's record may have been the last one.
    if (m_implementation->state != READING) {
        return -1;
    }
    return m_implementation->getRecord(buffer, size, *type);
}

/// Without memory for the window the object stays as it was.
void packet_dump::Implementation::openForReading()
{
    window = std::make_unique<ReadWindow>();
    stream = std::fopen(name.c_str(), "rb");
    state = READING;
    if (stream == nullptr) {
        std::printf("packet_dump::read failed to fopen %s\n", name.c_str());
    } else {
        unsigned char header[FILE_HEADER_SIZE];
        get(header, sizeof header);
    }
}

/// Reads \p size bytes; when there are fewer, reading is over for good.
bool packet_dump::Implementation::get(void* into, std::size_t size)
{
    if (stream != nullptr && window->read(fileno(stream), into, size) == size) {
        return true;
    }
    state = FINISHED;
    return false;
}

/// Reads up to the transport header. \p remaining is what the packet should still hold; lengths in
/// the file may be anything, so it never counts below 0. Time stamp and length on the wire are of
/// no interest.
bool packet_dump::Implementation::getPacketHeaders(int& remaining, unsigned char& protocol)
{
    unsigned char headers[RECORD_HEADER_SIZE + LINK_AND_NETWORK_SIZE + VLAN_TAG_SIZE];
    unsigned char* const header = headers + RECORD_HEADER_SIZE;
    if (!get(headers, RECORD_HEADER_SIZE + LINK_AND_NETWORK_SIZE)) {
        return false;
    }
    remaining = atLeastZero(atLeastZero(loadFileLong(headers + CAPTURED_LENGTH_AT)) -
                            LINK_AND_NETWORK_SIZE);
    protocol = header[PROTOCOL_AT];
    if (header[ETHERNET_TYPE_AT] == VLAN_TYPE_FIRST_BYTE) {
        if (!get(header + LINK_AND_NETWORK_SIZE, VLAN_TAG_SIZE)) {
            return false;
        }
        remaining = atLeastZero(remaining - VLAN_TAG_SIZE);
        protocol = header[PROTOCOL_AT + VLAN_TAG_SIZE];
    }
    return true;
}

int packet_dump::Implementation::getRecord(char* buffer, int size, t_packet_dump_type& type)
{
    int remaining = 0;
    unsigned char protocol = 0;
    if (!getPacketHeaders(remaining, protocol)) {
        return -1;
    }
    if (protocol != PROTOCOL_UDP) {
        type = PACKET_DUMP_OTHER;
        window->skip(fileno(stream), static_cast<std::size_t>(remaining));
        return 0;
    }
    unsigned char ports[UDP_SIZE];
    if (!get(ports, sizeof ports)) {
        return -1;
    }
    type = PACKET_DUMP_UDP;
    return getUdpPayload(buffer, size, atLeastZero(remaining - UDP_SIZE));
}

int packet_dump::Implementation::getUdpPayload(char* buffer, int size, int payload)
{
    if (payload > size) {
        std::printf("packet_dump::read buffer not big enough, needed %d bytes\n", payload);
        state = FINISHED; // so there is nothing to be found behind this payload
        return -1;
    }
    const auto wanted = static_cast<std::size_t>(payload);
    const std::size_t got = window->read(fileno(stream), buffer, wanted);
    if (got < wanted) {
        state = FINISHED;
    }
    return static_cast<int>(got);
}
