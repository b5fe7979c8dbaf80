/// \file
/// The disks and how full they are.
#ifndef GPAL_INFO_DISKS_H
#define GPAL_INFO_DISKS_H

#include <cstdint>
#include <string>
#include <vector>

namespace gpalinfo
{

/// What applications may use of a disk, and what is kept from them. In bytes.
struct UserShare {
    std::int64_t size = 0;
    std::int64_t free = 0;
    std::int64_t systemReserve = 0;
    std::int64_t workingReserve = 0;
};

/// A disk by the paths that lead to it. Figures are in bytes, of 64 bits, and so may differ from
/// the layer's own, which have 32.
struct Disk {
    std::vector<std::string> paths;
    bool examined = false; ///< else there is no such path, and no figure
    std::uint64_t device = 0;
    std::int64_t size = 0; ///< without what only the super-user may fill
    std::int64_t free = 0;
    int usedPercent = 0;
    bool isUsers = false; ///< whether a path is on the user disk; else there is no user's share
    UserShare user;
};

/// The disk of \p chosen; for "" those of the user disk and of the volatile and the persistent
/// location. A disk that several of the paths lead to comes once.
std::vector<Disk> findDisks(const std::string& chosen);

} // namespace gpalinfo

#endif
