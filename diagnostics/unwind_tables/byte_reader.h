/// \file
/// Reads unwind tables.
#ifndef GPAL_DIAGNOSTICS_BYTE_READER_H
#define GPAL_DIAGNOSTICS_BYTE_READER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace gpal::detail
{

/// Takes one value after the other from a piece of memory. Behind its end there are only zeros.
class ByteReader
{
public:
    ByteReader(const std::uint8_t* begin, const std::uint8_t* end) : m_next(begin), m_end(end) {}

    const std::uint8_t* position() const { return m_next; }
    const std::uint8_t* end() const { return m_end; }
    bool atEnd() const { return m_next >= m_end; }

    void skip(std::uint64_t bytes)
    {
        const auto left = static_cast<std::uint64_t>(m_end - m_next);
        m_next += bytes < left ? bytes : left;
    }

    template <typename Number>
    Number read()
    {
        Number number{};
        if (static_cast<std::size_t>(m_end - m_next) < sizeof number) {
            m_next = m_end;
            return Number{};
        }
        std::memcpy(&number, m_next, sizeof number);
        m_next += sizeof number;
        return number;
    }

    std::uint64_t readUnsigned()
    {
        const bool isOneByte = !atEnd() && *m_next < 0x80;
        return isOneByte ? *m_next++ : readGroups().number;
    }

    std::int64_t readSigned()
    {
        const Groups groups = readGroups();
        const bool negative =
            groups.bits > 0 && groups.bits < 64 && (groups.number >> (groups.bits - 1) & 1) != 0;
        const std::uint64_t sign = negative ? ~std::uint64_t{0} << groups.bits : 0;
        return static_cast<std::int64_t>(groups.number | sign);
    }

private:
    struct Groups {
        std::uint64_t number;
        unsigned int bits;
    };

    /// A number in groups of seven bits, the lowest first; all but the last have the top bit set.
    Groups readGroups()
    {
        Groups groups{0, 0};
        while (!atEnd()) {
            const std::uint8_t byte = *m_next++;
            if (groups.bits < 64) {
                groups.number |= std::uint64_t{byte & 0x7FU} << groups.bits;
            }
            groups.bits += 7;
            if ((byte & 0x80) == 0) {
                break;
            }
        }
        return groups;
    }

    const std::uint8_t* m_next;
    const std::uint8_t* m_end;
};

} // namespace gpal::detail

#endif
