/// \file
/// Reading a capture file.
#ifndef GPAL_NETWORK_CAPTUREREADER_H
#define GPAL_NETWORK_CAPTUREREADER_H

#include <gpal/packet_dump.h>

#include "network/CaptureStream.h"

namespace gpal::detail
{

/// A capture file that is read. One thread at a time may use it, with cancellation held off.
///
/// It reads past the stream's buffer into one of its own, where headers are looked at in place:
/// they would cost a call and a copy each of the stream.
class CaptureReader
{
public:
    explicit CaptureReader(const char* name);

    /// Reads the next record as `packet_dump::read` does.
    int read(char* buffer, int size, t_packet_dump_type& type);

private:
    bool refill();
    const unsigned char* next(int size);
    int copy(char* into, int size);
    int getUdpPayload(char* buffer, int size, int payload);

    CaptureStream m_file;
    bool m_finished; ///< for good, at the file's end or behind a record that was too big
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    unsigned char m_window[CAPTURE_BUFFER_SIZE]; ///< what is in memory: from m_begin to m_end
};

} // namespace gpal::detail

#endif
