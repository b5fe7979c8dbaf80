/// \file
/// Reading a file in small pieces.
#ifndef GPAL_NETWORK_READWINDOW_H
#define GPAL_NETWORK_READWINDOW_H

#include <array>
#include <cstddef>

namespace gpal::detail
{

/// A part of a file that is in memory. Pieces of some bytes cost a copy here, where they would cost
/// a call each of the C library's streams. A pipe is read as far as it has something to give.
class ReadWindow
{
public:
    /// Copies the next \p size bytes of \p descriptor; returns how many there were up to its end.
    std::size_t read(int descriptor, void* into, std::size_t size);

    /// Goes on behind the next \p length bytes, which may lie beyond the file's end.
    void skip(int descriptor, std::size_t length);

private:
    bool refill(int descriptor);

    std::array<unsigned char, 32768> m_bytes;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
};

} // namespace gpal::detail

#endif
