/// \file
/// Reading a packet capture (classic libpcap: little-endian, microseconds, Ethernet) record by
/// record, from a file or a pipe, with what the layer's own reader passes over: times and ports.
#ifndef GPAL_INFO_CAPTURE_RECORDS_H
#define GPAL_INFO_CAPTURE_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace gpalinfo
{

struct CaptureRecord {
    enum Protocol { UDP, TCP, OTHER };

    std::uint32_t seconds = 0; ///< since 1970, UTC
    std::uint32_t microseconds = 0;
    Protocol protocol = OTHER;
    unsigned sourcePort = 0; ///< of UDP and TCP, as that which follows
    unsigned destinationPort = 0;
    std::size_t payloadSize = 0;           ///< as much of it as was captured
    std::vector<unsigned char> firstBytes; ///< of the payload
};

/// A capture that is read from a stream, which must outlive it.
class CaptureRecords
{
public:
    explicit CaptureRecords(std::FILE* stream);

    /// Reads the next record, of one that is cut short as much as there is. Returns false when
    /// there is none.
    bool read(CaptureRecord& record);

    /// What kept the capture from being read to its end; "" when nothing did, or not yet.
    const std::string& complaint() const { return m_complaint; }

private:
    std::size_t readPacket(std::size_t size, std::vector<unsigned char>& beginning);
    void stopAt(const std::string& complaint);

    std::FILE* const m_stream;
    std::string m_complaint;
    int m_records = 0;
};

} // namespace gpalinfo

#endif
