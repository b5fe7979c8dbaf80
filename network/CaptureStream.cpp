#include "network/CaptureStream.h"

namespace gpal::detail
{

CaptureStream::CaptureStream(const char* name, const char* mode, const char* function)
    : m_stream(std::fopen(name, mode))
{
    if (m_stream == nullptr) {
        std::printf("packet_dump::%s failed to fopen %s\n", function, name);
    }
}

CaptureStream::~CaptureStream()
{
    if (m_stream != nullptr) {
        std::fclose(m_stream);
    }
}

} // namespace gpal::detail
