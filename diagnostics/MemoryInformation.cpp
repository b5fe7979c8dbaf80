#include <gpal/MemoryInformation.h>

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

#include <gpal/Process.h>

#include "base/cancellation.h"
#include "cancelled.h"
#include "diagnostics/memory_figures.h"

using gpal::detail::cancellably;
using gpal::detail::DestroyedIfCancelled;

namespace
{

constexpr const char* REPORT = "/proc/meminfo";
constexpr unsigned long KB_PER_MIB = 1024;

/// Reads the report for the figures that are asked for; returns whether it can be opened. A thread
/// that is cancelled finishes it first: a file stream that is cancelled while it goes ends the
/// process.
bool readReport(const gpal::detail::MemoryFigures& wanted)
{
    const gpal::detail::CancellationHeldOff untilClosed;
    std::ifstream report(REPORT);
    if (report.is_open()) {
        gpal::detail::readMemoryFigures(report, wanted);
    }
    return report.is_open();
}

/// Sends what the process prints from now on into \p file; returns whether it does. The descriptor
/// of the file is gone when this returns, however it does.
bool redirectOutput(const char* file)
{
    // This may wait, and be cancelled; nothing is open yet.
    cancellably([] { return std::fflush(stdout); });
    const gpal::detail::CancellationHeldOff untilRedirected;
    const int descriptor = open(file, O_RDWR | O_CREAT, 0644);
    if (descriptor == -1) {
        return false;
    }
    const bool redirected =
        dup2(descriptor, STDOUT_FILENO) != -1 && dup2(descriptor, STDERR_FILENO) != -1;
    // A process without these two was given one of them by the opening itself.
    if (descriptor != STDOUT_FILENO && descriptor != STDERR_FILENO) {
        close(descriptor);
    }
    return redirected;
}

void runTop()
{
    const char* argv[] = {"/bin/busybox", "top", "-d", "0",    "-a", "-n", "1",
                          "-l",           "600", "-b", nullptr};
    char* noEnvironment[] = {nullptr};
    Process top(10, const_cast<char**>(argv), noEnvironment, nullptr);
    const DestroyedIfCancelled whenCancelled(top);
    top.waitForExit();
}

} // namespace

MemoryInformation::~MemoryInformation() = default;

int MemoryInformation::getTotalMemory()
{
    unsigned long total = 0;
    return readReport({&total, nullptr, nullptr}) ? static_cast<int>(total) : -1;
}

int MemoryInformation::getFreeMemory()
{
    unsigned long free = 0;
    unsigned long cached = 0;
    return readReport({nullptr, &free, &cached})
               ? static_cast<int>(free / KB_PER_MIB + cached / KB_PER_MIB)
               : -1;
}

bool MemoryInformation::getGenericMemoryInfo(std::string& text)
{
    unsigned long total = 0;
    unsigned long free = 0;
    unsigned long cached = 0;
    if (!readReport({&total, &free, &cached})) {
        return false;
    }
    char summary[128];
    std::snprintf(summary, sizeof summary, "Memory: total %luMiB, free %luMiB, cached %luMiB",
                  total / KB_PER_MIB, free / KB_PER_MIB, cached / KB_PER_MIB);
    text = summary;
    return true;
}

bool MemoryInformation::getAllMemoryInfo(const std::string& file)
{
    if (!redirectOutput(file.c_str())) {
        return false;
    }
    try {
        runTop();
    } catch (const GPALProcessException&) {
        return false;
    }
    return true;
}
