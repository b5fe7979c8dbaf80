#include <gpal/Watchdog.h>

#include <cstdio>
#include <cstdlib>
#include <list>

#include <gpal/Storage.h>

#include "base/cancellation.h"
#include "diagnostics/command_line.h"

namespace
{

/// A thread that is cancelled finishes its command first, so that the file does not stay open.
void tellDriver(const char* command)
{
    const gpal::detail::CancellationHeldOff untilTold;
    FILE* driver = std::fopen("/proc/driver/ifx_wdt", "w");
    if (driver != nullptr) {
        std::fputs(command, driver);
        std::fclose(driver);
    }
}

} // namespace

Watchdog::Watchdog() = default;

// Not in the header: it is one of the library's exported symbols.
Watchdog::~Watchdog() {} // NOLINT(modernize-use-equals-default)

void Watchdog::stopWatchdogMonitor()
{
    tellDriver("stop monitor\n");
}

void Watchdog::startWatchdogMonitor()
{
    tellDriver("start monitor\n");
}

void Watchdog::kickWatchdog()
{
    tellDriver("kick watchdog\n");
}

int Watchdog::getPIdByName(std::string name)
{
    const gpal::detail::CancellationHeldOff untilFound; // or a file that is looked at stays open
    std::list<std::string> entries;
    Storage::getListOfDirectoriesByDirectoryNoPath("/proc/", &entries);
    for (const std::string& entry : entries) {
        std::string commandLine = "/proc/";
        commandLine.append(entry).append("/cmdline");
        if (Storage::fileExists(commandLine) &&
            gpal::detail::programIn(commandLine).find(name) != std::string::npos) {
            return std::atoi(entry.c_str());
        }
    }
    return 0;
}
