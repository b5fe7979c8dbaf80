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

} // namespace

void reportError(const char* format, ...)
{
    const ErrnoKept reason;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    std::fputs(text.c_str(), stderr);
    syslogger_error("%s", text.c_str());
}

void reportInfo(const char* format, ...)
{
    const ErrnoKept reason;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    std::fputs(text.c_str(), stderr);
    syslogger_info("%s", text.c_str());
}

} // namespace gpal::detail
