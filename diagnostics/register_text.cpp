#include "diagnostics/register_text.h"

#include <cstdio>
#include <cstring>

namespace gpal::detail
{

RegisterText::RegisterText(char* text, std::size_t size) : m_end(text), m_room(size)
{
    text[0] = '\0';
}

void RegisterText::add(const char* before, const char* name, unsigned long value, const char* after)
{
    std::snprintf(m_end, m_room, "%s%s = %08lx%s", before, name, value, after);
    const std::size_t length = std::strlen(m_end);
    m_end += length;
    m_room -= length;
}

void RegisterText::addToTable(const char* name, unsigned long value)
{
    constexpr int COLUMNS = 6;
    m_column = m_column % COLUMNS + 1;
    add("", name, value, m_column == COLUMNS ? "\n" : "\t");
}

} // namespace gpal::detail
