/// \file
/// The file that the packets of a call are written to.
#ifndef VOICE_CALL_CAPTURE_FILE_H
#define VOICE_CALL_CAPTURE_FILE_H

#include <memory>
#include <string>

#include <gpal/packet_dump.h>

namespace voicecall
{

class CaptureFile
{
public:
    /// Creates or empties the file, so that a path that can't be written is found out before the
    /// call; for "" there is none. Throws `std::runtime_error` if that fails.
    explicit CaptureFile(const std::string& path);

    /// Where to write the packets; null when there is no file.
    packet_dump* packets() { return m_packets.get(); }

    /// Closes the file. Returns whether \p frames frames are in there: the layer reports no failure
    /// to write, but the size of the file tells.
    bool close(int frames);

private:
    std::string m_path;
    std::unique_ptr<packet_dump> m_packets;
};

} // namespace voicecall

#endif
