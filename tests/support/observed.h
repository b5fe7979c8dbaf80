/// \file
/// What tests look at from outside: the console, the system log, the commands given to the shell.
#ifndef GPAL_TESTS_SUPPORT_OBSERVED_H
#define GPAL_TESTS_SUPPORT_OBSERVED_H

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

#include "support/replaceable.h"

namespace support
{

/// Collects what is written to a descriptor (1: standard output, 2: standard error) while it lives,
/// by any thread, through C or C++ streams.
class Captured
{
public:
    explicit Captured(int descriptor);
    Captured(const Captured&) = delete;
    Captured& operator=(const Captured&) = delete;
    ~Captured();

    /// All that was written so far.
    std::string text() const;

private:
    int m_descriptor;
    int m_saved;
    int m_file;
};

struct LogLine {
    int priority;
    std::string text;
    bool operator==(const LogLine& other) const
    {
        return priority == other.priority && text == other.text;
    }
};

/// Records what goes to the system log, formatted, in place of sending it.
class RecordedLog
{
public:
    RecordedLog();
    std::vector<LogLine> lines() const;

private:
    mutable std::mutex m_mutex;
    std::vector<LogLine> m_lines;
    Replacement<void(int, const char*, va_list)> m_vsyslog;
};

/// Records the shell commands in place of running them; each gets the same result.
class RecordedCommands
{
public:
    explicit RecordedCommands(int result = 0);
    std::vector<std::string> commands() const;

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_commands;
    Replacement<int(const char*)> m_system;
};

/// Waits until \p condition holds, for ten seconds at most (more where the program is slowed down);
/// returns whether it does.
bool eventually(const std::function<bool()>& condition);

/// Whether a thread of this process sleeps in the kernel, and for a while already.
bool isAsleep(pid_t thread);

/// Milliseconds since \p start on the monotonic clock.
long millisecondsSince(std::chrono::steady_clock::time_point start);

} // namespace support

#endif
