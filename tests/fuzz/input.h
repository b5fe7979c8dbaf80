/// \file
/// An input that begins with a few numbers.
#ifndef GPAL_TESTS_FUZZ_INPUT_H
#define GPAL_TESTS_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz
{

/// Takes numbers from the front of an input, the low byte first. Behind its end there are zeros.
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size) : m_next(data), m_end(data + size) {}

    std::uint8_t byte() { return m_next == m_end ? std::uint8_t{0} : *m_next++; }

    template <typename Number>
    Number number()
    {
        std::uint64_t number = 0;
        for (std::size_t place = 0; place < sizeof(Number); ++place) {
            number |= std::uint64_t{byte()} << 8 * place;
        }
        return static_cast<Number>(number);
    }

    /// What is left, on the heap and not a byte longer: who reads on is noticed.
    std::vector<std::uint8_t> rest() const { return {m_next, m_end}; }
    const std::uint8_t* restData() const { return m_next; }
    std::size_t restSize() const { return static_cast<std::size_t>(m_end - m_next); }

private:
    const std::uint8_t* m_next;
    const std::uint8_t* m_end;
};

} // namespace fuzz

#endif
