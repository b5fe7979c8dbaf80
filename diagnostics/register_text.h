/// \file
/// Text of a fixed size that registers are printed into.
#ifndef GPAL_DIAGNOSTICS_REGISTER_TEXT_H
#define GPAL_DIAGNOSTICS_REGISTER_TEXT_H

#include <cstddef>

namespace gpal::detail
{

/// Appends registers to a text, each in hexadecimal with at least eight digits; what has no room is
/// left out. Runs in signal handlers.
class RegisterText
{
public:
    RegisterText(char* text, std::size_t size);

    /// Adds "name = value" between the two texts given.
    void add(const char* before, const char* name, unsigned long value, const char* after);

    /// Adds the next register of a table of six columns.
    void addToTable(const char* name, unsigned long value);

private:
    char* m_end;
    std::size_t m_room;
    int m_column = 0;
};

} // namespace gpal::detail

#endif
