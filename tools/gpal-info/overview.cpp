#include "overview.h"

#include <cinttypes>
#include <cstdio>
#include <gpal/MemoryInformation.h>
#include <gpal/NetworkUtils.h>
#include <gpal/Storage.h>
#include <gpal/Ulimit.h>
#include <gpal/Watchdog.h>
#include <iterator>
#include <list>
#include <string>

#include "disks.h"
#include "output.h"

namespace gpalinfo
{
namespace
{

constexpr std::size_t WIDTH = 80;

void printMemory()
{
    std::string summary = "Memory: unknown";
    MemoryInformation().getGenericMemoryInfo(summary);
    std::printf("%s\n\n", summary.c_str());
}

void printLimits()
{
    std::string line = "Limits:";
    for (const Limit& limit : LIMITS) {
        std::string value = "unknown";
        Ulimit().getulimit(limit.option, value);
        const std::string item = std::string(" ") + limit.name + " " + value;
        if (line.size() + item.size() + 1 > WIDTH) {
            std::printf("%s\n", line.c_str());
            line = " ";
        }
        line += item + (&limit == std::end(LIMITS) - 1 ? "" : ",");
    }
    std::printf("%s\n\n", line.c_str());
}

void printShare(const char* whose, std::int64_t free, std::int64_t size)
{
    std::printf("  %-5s %15" PRId64 " of %15" PRId64 " bytes free\n", whose, free, size);
}

void printDisk(const Disk& disk)
{
    std::string paths;
    for (const std::string& path : disk.paths) {
        paths += (paths.empty() ? "" : ", ") + printable(path);
    }
    if (!disk.examined) {
        std::printf("Disk of %s: can't be examined\n", paths.c_str());
        return;
    }
    std::printf("Disk of %s: %d%% used\n", paths.c_str(), disk.usedPercent);
    printShare("all", disk.free, disk.size);
    if (disk.isUsers) {
        printShare("user", disk.user.free, disk.user.size);
        std::printf("        reserve %" PRId64 " + %" PRId64 " for working memory\n",
                    disk.user.systemReserve, disk.user.workingReserve);
    }
}

/// The layer prints the line with the address itself when it finds one.
void printAddress()
{
    if (NetworkUtils::getIPAddr().empty()) {
        std::printf("\nIPAddress is: unknown\n");
    }
}

/// How many character devices there are, and as many of their names as a line holds.
void printDevices()
{
    const std::string directory = "/dev/";
    std::list<std::string> devices;
    Storage::getListOfCharacterDeviceByDirectory(directory, &devices);
    std::string line = std::to_string(devices.size()) + " character devices:";
    const std::string more = " ...";
    for (const std::string& device : devices) {
        const std::string name = " " + printable(device.substr(directory.size()));
        if (line.size() + name.size() + more.size() > WIDTH) {
            line += more;
            break;
        }
        line += name;
    }
    std::printf("%s\n", line.c_str());
}

void printProcess()
{
    const int id = Watchdog().getPIdByName(FIRST_PROCESS);
    if (id == 0) {
        std::printf("No process \"%s\"\n", FIRST_PROCESS);
    } else {
        std::printf("Process \"%s\": %d\n", FIRST_PROCESS, id);
    }
}

} // namespace

void printOverview(const std::string& disk)
{
    printMemory();
    printLimits();
    for (const Disk& found : findDisks(disk)) {
        printDisk(found);
    }
    std::printf("\n");
    printDevices();
    printProcess();
    printAddress();
}

} // namespace gpalinfo
