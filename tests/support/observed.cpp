#include "support/observed.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <thread>
#include <unistd.h>

#include "support/temporary_directory.h"

namespace support
{
namespace
{

/// How often a thread has gone to sleep, if it is asleep; "" if it is not.
std::string sleepOf(pid_t thread)
{
    // Not "/proc/self/task/": to some threads libraries a thread is a process.
    const std::string text = contentOf("/proc/" + std::to_string(thread) + "/status");
    const std::size_t times = text.find("\nvoluntary_ctxt_switches:");
    const bool isAsleep = text.find("\nState:\tS") != std::string::npos;
    return isAsleep && times != std::string::npos ? text.substr(times) : "";
}

} // namespace

Captured::Captured(int descriptor) : m_descriptor(descriptor), m_saved(dup(descriptor))
{
    char name[] = "/tmp/gpal-captured-XXXXXX";
    m_file = mkstemp(name);
    unlink(name);
    std::cout.flush();
    std::fflush(nullptr);
    dup2(m_file, m_descriptor);
}

Captured::~Captured()
{
    std::cout.flush();
    std::fflush(nullptr);
    dup2(m_saved, m_descriptor);
    close(m_saved);
    close(m_file);
}

std::string Captured::text() const
{
    std::cout.flush();
    std::fflush(nullptr);
    std::string all;
    char piece[4096];
    ssize_t size = 0;
    while ((size = pread(m_file, piece, sizeof piece, static_cast<off_t>(all.size()))) > 0) {
        all.append(piece, static_cast<std::size_t>(size));
    }
    return all;
}

RecordedLog::RecordedLog()
    : m_vsyslog(calls::vsyslog, [this](int priority, const char* format, va_list arguments) {
          char text[2048];
          std::vsnprintf(text, sizeof text, format, arguments);
          const std::lock_guard<std::mutex> guard(m_mutex);
          m_lines.push_back({priority, text});
      })
{
}

std::vector<LogLine> RecordedLog::lines() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_lines;
}

RecordedCommands::RecordedCommands(int result)
    : m_system(calls::system, [this, result](const char* command) {
          const std::lock_guard<std::mutex> guard(m_mutex);
          m_commands.emplace_back(command);
          return result;
      })
{
}

std::vector<std::string> RecordedCommands::commands() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_commands;
}

bool eventually(const std::function<bool()>& condition)
{
    constexpr auto PATIENCE = std::chrono::seconds(10);
    const auto start = std::chrono::steady_clock::now();
    while (!condition()) {
        if (std::chrono::steady_clock::now() - start > PATIENCE) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool isAsleep(pid_t thread)
{
    // Waiting for a moment for a lock of the C library's is no sleep.
    constexpr auto LONG_ENOUGH = std::chrono::milliseconds(30);
    const std::string before = sleepOf(thread);
    std::this_thread::sleep_for(LONG_ENOUGH);
    return !before.empty() && before == sleepOf(thread);
}

long millisecondsSince(std::chrono::steady_clock::time_point start)
{
    const auto passed = std::chrono::steady_clock::now() - start;
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

} // namespace support
