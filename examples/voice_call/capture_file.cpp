#include "capture_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>

#include "rtp.h"

namespace voicecall
{

CaptureFile::CaptureFile(const std::string& path) : m_path(path)
{
    if (path.empty()) {
        return;
    }
    if (!std::ofstream(path)) {
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    }
    m_packets = std::make_unique<packet_dump>(m_path.data());
}

bool CaptureFile::close(int frames)
{
    constexpr long long FILE_HEADER = 24;
    constexpr long long RECORD_HEADER = 16;
    constexpr long long ETHERNET_IP_UDP = 14 + 20 + 8;
    constexpr long long RECORD =
        RECORD_HEADER + ETHERNET_IP_UDP + static_cast<long long>(sizeof(RtpPacket));
    if (m_packets == nullptr) {
        return true;
    }
    m_packets.reset();
    // The first packet makes the file.
    const long long wanted = frames == 0 ? 0 : FILE_HEADER + frames * RECORD;
    struct stat file {
    };
    return stat(m_path.c_str(), &file) == 0 && file.st_size == wanted;
}

} // namespace voicecall
