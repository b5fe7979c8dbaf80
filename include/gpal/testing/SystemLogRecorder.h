/// \file
/// Records what goes to the system log. The program that includes this header has `syslog` and
/// `vsyslog` of its own; see `SystemLogRecorder`. Built by clang, that source goes without
/// `_FORTIFY_SOURCE`, whose inline functions clang takes for second definitions.
#ifndef GPAL_TESTING_SYSTEMLOGRECORDER_H
#define GPAL_TESTING_SYSTEMLOGRECORDER_H

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include <gpal/testing/ReplacedCalls.h>

namespace gpal::testing
{

/// A message of the system log.
struct LogLine {
    int priority; ///< as given to `syslog`: the layer's messages have a severity and no facility
    std::string text; ///< as formatted
    /// Whether all of it is the same.
    bool operator==(const LogLine& other) const
    {
        return priority == other.priority && text == other.text;
    }
};

namespace detail
{

struct SystemLog {
    std::mutex mutex;
    std::vector<LogLine>* recorded = nullptr; ///< null if no recorder lives
    std::string lastEmergency;                ///< why the layer reboots
};

/// Never destroyed: messages may come until the process has ended.
inline SystemLog& systemLog()
{
    static auto& made = *new SystemLog;
    return made;
}

inline std::string formatted(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

inline void log(int priority, const char* format, va_list arguments)
{
    constexpr int SEVERITY = 7; // the bits beside those of the facility
    const std::string text = formatted(format, arguments);
    {
        const std::lock_guard<std::mutex> guard(systemLog().mutex);
        if ((priority & SEVERITY) == 0) {
            systemLog().lastEmergency = text;
        }
        if (systemLog().recorded != nullptr) {
            systemLog().recorded->push_back({priority, text});
            return;
        }
    }
    original<void(int, const char*, ...)>("syslog")(priority, "%s", text.c_str());
}

} // namespace detail

extern "C" {

void gpalTestingVsyslog(int priority, const char* format, va_list arguments)
    GPAL_TESTING_REPLACES("vsyslog");
void gpalTestingSyslog(int priority, const char* format, ...) GPAL_TESTING_REPLACES("syslog");
void gpalTestingVsyslogChecked(int priority, int flag, const char* format, va_list arguments)
    GPAL_TESTING_REPLACES("__vsyslog_chk");
void gpalTestingSyslogChecked(int priority, int flag, const char* format, ...)
    GPAL_TESTING_REPLACES("__syslog_chk");

// NOLINTBEGIN(misc-definitions-in-headers): weak, as said above
void gpalTestingVsyslog(int priority, const char* format, va_list arguments)
{
    detail::log(priority, format, arguments);
}

void gpalTestingSyslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    detail::log(priority, format, arguments);
    va_end(arguments);
}

// What calls become that are compiled with _FORTIFY_SOURCE.
void gpalTestingVsyslogChecked(int priority, int /*flag*/, const char* format, va_list arguments)
{
    detail::log(priority, format, arguments);
}

void gpalTestingSyslogChecked(int priority, int /*flag*/, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    detail::log(priority, format, arguments);
    va_end(arguments);
}
// NOLINTEND(misc-definitions-in-headers)
}

/// While it lives, what the process logs with `syslog` or the layer's functions is remembered in
/// place of being sent, whatever the mask. There is one at a time; messages may come from any
/// thread, for which logging is no cancellation point then. Without one, messages go to the system
/// log as ever.
class SystemLogRecorder
{
public:
    SystemLogRecorder()
    {
        detail::requireInForce("vsyslog", reinterpret_cast<const void*>(&gpalTestingVsyslog));
        record(&m_lines);
    }
    SystemLogRecorder(const SystemLogRecorder&) = delete;
    SystemLogRecorder& operator=(const SystemLogRecorder&) = delete;
    ~SystemLogRecorder() { record(nullptr); }

    /// The messages so far, in order.
    std::vector<LogLine> lines() const
    {
        const std::lock_guard<std::mutex> guard(detail::systemLog().mutex);
        return m_lines;
    }

private:
    static void record(std::vector<LogLine>* lines)
    {
        const std::lock_guard<std::mutex> guard(detail::systemLog().mutex);
        detail::systemLog().recorded = lines;
    }

    std::vector<LogLine> m_lines;
};

} // namespace gpal::testing

#endif
