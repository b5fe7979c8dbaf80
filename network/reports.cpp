#include "network/reports.h"

#include <cstdarg>
#include <cstdio>
#include <string>

#include <gpal/syslogger.h>

#include "base/errno_kept.h"

namespace gpal::detail
{
namespace
{

std::string formatted(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(length > 0 ? static_cast<std::size_t>(length) + 1 : 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

void report(void (*log)(const char*, ...), const char* format, va_list arguments)
{
    const ErrnoKept reason;
    const std::string text = formatted(format, arguments);
    std::fputs(text.c_str(), stderr);
    log("%s", text.c_str());
}

} // namespace

void reportError(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(syslogger_error, format, arguments);
    va_end(arguments);
}

void reportInfo(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(syslogger_info, format, arguments);
    va_end(arguments);
}

} // namespace gpal::detail
