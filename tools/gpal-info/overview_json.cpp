#include "overview.h"

#include <gpal/MemoryInformation.h>
#include <gpal/NetworkUtils.h>
#include <gpal/Storage.h>
#include <gpal/Ulimit.h>
#include <gpal/Watchdog.h>
#include <list>
#include <string>

#include "disks.h"
#include "json.h"
#include "output.h"

namespace gpalinfo
{
namespace
{

void addMemory(Json& json)
{
    MemoryInformation memory;
    json.name("memory");
    const int total = memory.getTotalMemory();
    if (total < 0) {
        json.null();
        return;
    }
    json.open('{').name("total_kb").number(total);
    json.name("free_and_cached_mib").number(memory.getFreeMemory()).close('}');
}

/// A limit is a number, or null where there is none.
void addLimits(Json& json)
{
    json.name("limits").open('{');
    for (const Limit& limit : LIMITS) {
        std::string value;
        Ulimit().getulimit(limit.option, value);
        json.name(limit.member).decimal(value == "unlimited" ? "null" : value);
    }
    json.close('}');
}

void addDisk(Json& json, const Disk& disk)
{
    json.open('{').name("paths").open('[');
    for (const std::string& path : disk.paths) {
        json.text(path);
    }
    json.close(']');
    if (disk.examined) {
        json.name("used_percent").number(disk.usedPercent);
        json.name("size").number(disk.size).name("free").number(disk.free);
    }
    if (disk.isUsers) {
        json.name("user").open('{');
        json.name("size").number(disk.user.size).name("free").number(disk.user.free);
        json.name("reserve").number(disk.user.systemReserve);
        json.name("working_reserve").number(disk.user.workingReserve).close('}');
    }
    json.close('}');
}

void addDevices(Json& json)
{
    std::list<std::string> devices;
    Storage::getListOfCharacterDeviceByDirectory("/dev/", &devices);
    json.name("character_devices").open('[');
    for (const std::string& device : devices) {
        json.text(device);
    }
    json.close(']');
}

void addAddress(Json& json)
{
    std::string address;
    {
        const Silence layer;
        address = NetworkUtils::getIPAddr();
    }
    json.name("address");
    address.empty() ? json.null() : json.text(address);
}

} // namespace

void printOverviewAsJson(const std::string& disk)
{
    Json json;
    json.open('{');
    addMemory(json);
    addLimits(json);
    json.name("disks").open('[');
    for (const Disk& found : findDisks(disk)) {
        addDisk(json, found);
    }
    json.close(']');
    addDevices(json);
    json.name("process").open('{').name("name").text(FIRST_PROCESS);
    const int id = Watchdog().getPIdByName(FIRST_PROCESS);
    json.name("id");
    id == 0 ? json.null() : json.number(id);
    json.close('}');
    addAddress(json);
    json.close('}');
}

} // namespace gpalinfo
