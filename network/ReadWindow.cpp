#include "network/ReadWindow.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace gpal::detail
{

std::size_t ReadWindow::read(int descriptor, void* into, std::size_t size)
{
    auto* const bytes = static_cast<unsigned char*>(into);
    std::size_t copied = 0;
    while (copied < size && (m_begin < m_end || refill(descriptor))) {
        const std::size_t piece = std::min(size - copied, m_end - m_begin);
        std::memcpy(bytes + copied, m_bytes.data() + m_begin, piece);
        copied += piece;
        m_begin += piece;
    }
    return copied;
}

void ReadWindow::skip(int descriptor, std::size_t length)
{
    const std::size_t here = std::min(length, m_end - m_begin);
    m_begin += here;
    std::size_t beyond = length - here;
    if (beyond == 0 || lseek(descriptor, static_cast<off_t>(beyond), SEEK_CUR) != -1) {
        return;
    }
    while (beyond > 0 && refill(descriptor)) { // a pipe
        m_begin = std::min(beyond, m_end);
        beyond -= m_begin;
    }
}

bool ReadWindow::refill(int descriptor)
{
    ssize_t got = 0;
    do {
        got = ::read(descriptor, m_bytes.data(), m_bytes.size());
    } while (got == -1 && errno == EINTR);
    m_begin = 0;
    m_end = got > 0 ? static_cast<std::size_t>(got) : 0;
    return got > 0;
}

} // namespace gpal::detail
