/// \file
/// Writing a capture file.
#ifndef GPAL_NETWORK_CAPTUREWRITER_H
#define GPAL_NETWORK_CAPTUREWRITER_H

#include <gpal/packet_dump.h>

#include "network/capture_headers.h"
#include "network/CaptureStream.h"

namespace gpal::detail
{

/// A capture file that is made, or emptied, and written. One thread at a time may use it, with
/// cancellation held off.
class CaptureWriter
{
public:
    explicit CaptureWriter(const char* name);

    /// Appends a record. Returns \p length, or -1 when the file could not be made.
    int write(const char* payload, int length, t_packet_dump_type type);

private:
    std::size_t putTransportHeader(unsigned char* packet, unsigned int length,
                                   t_packet_dump_type type);

    char m_buffer[CAPTURE_BUFFER_SIZE]; ///< the stream's, so it outlives that
    CaptureStream m_file;
    unsigned int m_tcpRecords = 0;
    unsigned char m_protocol = PROTOCOL_UDP;
};

} // namespace gpal::detail

#endif
