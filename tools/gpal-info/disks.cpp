#include "disks.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gpal/Storage.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace gpalinfo
{
namespace
{

std::int64_t variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? 0 : std::strtoll(value, nullptr, 10);
}

/// As the layer has it: by the path's beginning.
bool isOnUserDisk(const std::string& path)
{
    const char* const userDisk = std::getenv("MIRTA_USER_DISK");
    return userDisk != nullptr && path.find(userDisk) == 0;
}

UserShare userShareOf(const Disk& disk)
{
    UserShare share;
    share.systemReserve = variable("MIRTA_USER_DISK_RESERVED");
    share.workingReserve = variable("MIRTA_USER_DISK_RESERVED_WORKINGMEMORY");
    const std::int64_t reserves = share.systemReserve + share.workingReserve;
    share.size = std::max<std::int64_t>(0, disk.size - reserves);
    share.free = std::max<std::int64_t>(0, disk.free - reserves);
    return share;
}

Disk examine(const std::string& path)
{
    Disk disk;
    disk.paths = {path};
    struct stat entry {
    };
    struct statvfs figures {
    };
    if (stat(path.c_str(), &entry) != 0 || statvfs(path.c_str(), &figures) != 0) {
        return disk;
    }
    const auto bytes = [&](fsblkcnt_t blocks) {
        return static_cast<std::int64_t>(blocks) * static_cast<std::int64_t>(figures.f_frsize);
    };
    const std::int64_t used = bytes(figures.f_blocks - figures.f_bfree);
    disk.examined = true;
    disk.device = entry.st_dev;
    disk.free = bytes(figures.f_bavail);
    disk.size = used + disk.free;
    if (disk.size != 0) {
        const double share = static_cast<double>(used) / static_cast<double>(disk.size);
        disk.usedPercent = static_cast<int>(std::lround(100 * share));
    }
    disk.isUsers = isOnUserDisk(path);
    return disk;
}

/// Adds the disk of \p path, or the path to the disk if that is there already.
void add(std::vector<Disk>& disks, const std::string& path)
{
    const Disk found = examine(path);
    const auto known = std::find_if(disks.begin(), disks.end(), [&](const Disk& disk) {
        return found.examined && disk.examined ? disk.device == found.device
                                               : disk.paths.front() == path;
    });
    if (known == disks.end()) {
        disks.push_back(found);
        return;
    }
    if (std::find(known->paths.begin(), known->paths.end(), path) == known->paths.end()) {
        known->paths.push_back(path);
    }
    known->isUsers = known->isUsers || found.isUsers;
}

} // namespace

std::vector<Disk> findDisks(const std::string& chosen)
{
    std::vector<Disk> disks;
    if (!chosen.empty()) {
        add(disks, chosen);
    } else {
        if (const char* const user = std::getenv("MIRTA_USER_DISK"); user != nullptr) {
            add(disks, user);
        }
        add(disks, Storage::prependWithVolatileStorageLocation(""));
        add(disks, Storage::prependWithPersistantStorageLocation(""));
    }
    for (Disk& disk : disks) {
        if (disk.isUsers) {
            disk.user = userShareOf(disk);
        }
    }
    return disks;
}

} // namespace gpalinfo
