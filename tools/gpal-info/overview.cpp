#include "overview.h"

#include <cstdio>
#include <cstdlib>
#include <gpal/MemoryInformation.h>
#include <gpal/NetworkUtils.h>
#include <gpal/Storage.h>
#include <gpal/Ulimit.h>
#include <gpal/Watchdog.h>
#include <iterator>
#include <list>
#include <string>

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
    struct Limit {
        const char* name;
        char option;
    };
    static const Limit LIMITS[] = {
        {"CPU s", 't'},       {"file blocks", 'f'},      {"data kB", 'd'},   {"stack kB", 's'},
        {"core blocks", 'c'}, {"memory kB", 'm'},        {"locked kB", 'l'}, {"processes", 'p'},
        {"open files", 'n'},  {"address space kB", 'v'}, {"file locks", 'w'}};
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

/// The figures of one disk; those of its user only where the environment says which disk is theirs.
void printDisk(const std::string& path)
{
    const int used = Storage::checkDiskUsage(path);
    if (used < 0) {
        std::printf("Disk of %s: can't be examined\n", path.c_str());
        return;
    }
    std::printf("Disk of %s: %d%% used\n", path.c_str(), used);
    std::printf("  all   %11d of %11d bytes free\n", Storage::AbsoluteDiskSpace(path),
                Storage::AbsoluteDiskSize(path));
    if (std::getenv("MIRTA_USER_DISK") == nullptr) {
        return; // the layer needs it for all that follows
    }
    std::printf("  user  %11d of %11d bytes free, reserve %d + %d\n", Storage::UserDiskSpace(path),
                Storage::UserDiskSize(path), Storage::ReserveSize(path),
                Storage::ReservedWorkingSpaceSize(path));
}

void printDisks(const std::string& chosen)
{
    if (!chosen.empty()) {
        printDisk(chosen);
        std::printf("\n");
        return;
    }
    if (const char* user = std::getenv("MIRTA_USER_DISK"); user != nullptr) {
        printDisk(user);
    }
    printDisk(Storage::prependWithVolatileStorageLocation(""));
    printDisk(Storage::prependWithPersistantStorageLocation(""));
    std::printf("\n");
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
        const std::string name = " " + device.substr(directory.size());
        if (line.size() + name.size() + more.size() > WIDTH) {
            line += more;
            break;
        }
        line += name;
    }
    std::printf("%s\n", line.c_str());
}

void printProcess(const std::string& name)
{
    const int id = Watchdog().getPIdByName(name);
    if (id == 0) {
        std::printf("No process \"%s\"\n", name.c_str());
    } else {
        std::printf("Process \"%s\": %d\n", name.c_str(), id);
    }
}

} // namespace

void printOverview(const std::string& disk, const std::string& process)
{
    printMemory();
    printLimits();
    printDisks(disk);
    printDevices();
    printProcess(process);
    printAddress();
}

} // namespace gpalinfo
