#include "threads/semaphore_dump.h"

#include <cstdarg>
#include <cstdio>

#include "base/console.h"

namespace gpal::detail
{
namespace
{

const char* const RULE = "**************************************\n";

} // namespace

SemaphoreDump::SemaphoreDump(const char* type, const void* object) : m_text(RULE)
{
    add("%-26s= %s\n", "Type", type);
    add("%-26s= %p\n", "id", object);
}

void SemaphoreDump::line(const char* label, long long value)
{
    add("%-26s= %lld\n", label, value);
}

void SemaphoreDump::threads(const std::multiset<unsigned long>& ids)
{
    int index = 0;
    for (const unsigned long id : ids) {
        add("%d - %lu\n", index++, id);
    }
}

void SemaphoreDump::write()
{
    m_text += RULE;
    writeToConsole(m_text);
}

void SemaphoreDump::add(const char* format, ...)
{
    char line[64];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    m_text += line;
}

} // namespace gpal::detail
