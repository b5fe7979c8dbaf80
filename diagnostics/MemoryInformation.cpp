#include <gpal/MemoryInformation.h>

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

#include <gpal/Process.h>

#include "base/console.h"
#include "diagnostics/memory_figures.h"

using gpal::detail::readMemoryFigures;

namespace
{

constexpr const char* REPORT = "/proc/meminfo";
constexpr unsigned long KB_PER_MIB = 1024;

/// Sends what the process prints from now on into the file behind \p descriptor, and closes that.
void redirectOutput(int descriptor)
{
    std::fflush(stdout);
    dup2(descriptor, STDOUT_FILENO);
    dup2(descriptor, STDERR_FILENO);
    // A process without these two was given one of them by the opening itself.
    if (descriptor != STDOUT_FILENO && descriptor != STDERR_FILENO) {
        close(descriptor);
    }
}

void runTop()
{
    const char* argv[] = {"/bin/busybox", "top", "-d", "0",    "-a", "-n", "1",
                          "-l",           "600", "-b", nullptr};
    char* noEnvironment[] = {nullptr};
    Process(10, const_cast<char**>(argv), noEnvironment, nullptr).waitForExit();
}

} // namespace

MemoryInformation::~MemoryInformation() = default;

int MemoryInformation::getTotalMemory()
{
    std::ifstream report(REPORT);
    if (!report.is_open()) {
        return -1;
    }
    unsigned long total = 0;
    readMemoryFigures(report, {&total, nullptr, nullptr});
    return static_cast<int>(total);
}

int MemoryInformation::getFreeMemory()
{
    std::ifstream report(REPORT);
    if (!report.is_open()) {
        return -1;
    }
    unsigned long free = 0;
    unsigned long cached = 0;
    readMemoryFigures(report, {nullptr, &free, &cached});
    return static_cast<int>(free / KB_PER_MIB + cached / KB_PER_MIB);
}

bool MemoryInformation::getGenericMemoryInfo(std::string& text)
{
    std::ifstream report(REPORT);
    if (!report.is_open()) {
        return false;
    }
    unsigned long total = 0;
    unsigned long free = 0;
    unsigned long cached = 0;
    readMemoryFigures(report, {&total, &free, &cached});
    text = gpal::detail::asText("Memory: total ", total / KB_PER_MIB, "MiB, free ",
                                free / KB_PER_MIB, "MiB, cached ", cached / KB_PER_MIB, "MiB");
    return true;
}

bool MemoryInformation::getAllMemoryInfo(const std::string& file)
{
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT, 0644);
    if (descriptor == -1) {
        return false;
    }
    redirectOutput(descriptor);
    try {
        runTop();
    } catch (const GPALProcessException&) {
        return false;
    }
    return true;
}
