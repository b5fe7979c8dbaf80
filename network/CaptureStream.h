/// \file
/// The stream of a capture file.
#ifndef GPAL_NETWORK_CAPTURESTREAM_H
#define GPAL_NETWORK_CAPTURESTREAM_H

#include <cstddef>
#include <cstdio>

namespace gpal::detail
{

/// Few system calls rather than little memory: captures are made of calls that are going on.
constexpr std::size_t CAPTURE_BUFFER_SIZE = 32768;

/// A file that is open, or could not be opened, for the object's life.
class CaptureStream
{
public:
    /// Says on standard output that \p function could not open the file \p name, if so.
    CaptureStream(const char* name, const char* mode, const char* function);
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;
    /// May block: it writes what is left.
    ~CaptureStream();

    /// Null for a file that could not be opened.
    FILE* get() const { return m_stream; }

private:
    FILE* const m_stream;
};

} // namespace gpal::detail

#endif
