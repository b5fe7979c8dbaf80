#include <gpal/Storage.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <sys/vfs.h>

namespace
{

/// A file system's blocks and their size, in the 32 bits of the results: all sums and products
/// wrap.
struct Blocks {
    std::uint32_t size;
    std::uint32_t total;
    std::uint32_t free;
    std::uint32_t available;

    std::uint32_t used() const { return total - free; }
};

bool readBlocks(std::string const& path, Blocks& blocks)
{
    struct statfs figures {
    };
    if (statfs(path.c_str(), &figures) != 0) {
        return false;
    }
    blocks = {
        static_cast<std::uint32_t>(figures.f_bsize), static_cast<std::uint32_t>(figures.f_blocks),
        static_cast<std::uint32_t>(figures.f_bfree), static_cast<std::uint32_t>(figures.f_bavail)};
    return true;
}

/// The reserve in a variable, in bytes, for paths on the user disk; 0 for all others.
int reserveOn(std::string const& path, char const* variable)
{
    const char* userDisk = std::getenv("MIRTA_USER_DISK");
    if (userDisk == nullptr) {
        throw std::logic_error("MIRTA_USER_DISK is not set");
    }
    const char* reserve = path.find(userDisk) == 0 ? std::getenv(variable) : nullptr;
    return reserve == nullptr ? 0 : std::atoi(reserve);
}

/// What is left of a figure for users.
int withoutReserves(int figure, std::string const& path)
{
    if (figure <= 0) {
        return figure;
    }
    const auto reserves = static_cast<std::uint32_t>(Storage::ReserveSize(path)) +
                          static_cast<std::uint32_t>(Storage::ReservedWorkingSpaceSize(path));
    return std::max(0, static_cast<int>(static_cast<std::uint32_t>(figure) - reserves));
}

} // namespace

int Storage::AbsoluteDiskSpace(std::string const& path)
{
    Blocks blocks{};
    return readBlocks(path, blocks) ? static_cast<int>(blocks.available * blocks.size) : -1;
}

int Storage::AbsoluteDiskSize(std::string const& path)
{
    Blocks blocks{};
    if (!readBlocks(path, blocks)) {
        return -1;
    }
    return static_cast<int>((blocks.used() + blocks.available) * blocks.size);
}

int Storage::UserDiskSpace(std::string const& path)
{
    return withoutReserves(AbsoluteDiskSpace(path), path);
}

int Storage::UserDiskSize(std::string const& path)
{
    return withoutReserves(AbsoluteDiskSize(path), path);
}

int Storage::ReserveSize(std::string const& path)
{
    return reserveOn(path, "MIRTA_USER_DISK_RESERVED");
}

int Storage::ReservedWorkingSpaceSize(std::string const& path)
{
    return reserveOn(path, "MIRTA_USER_DISK_RESERVED_WORKINGMEMORY");
}

int Storage::checkDiskUsage(std::string path)
{
    constexpr int NO_FIGURES = -1;
    constexpr int NOTHING_TO_SHARE = -2;
    constexpr int NO_BLOCKS = -3;
    Blocks blocks{};
    if (!readBlocks(path, blocks)) {
        return NO_FIGURES;
    }
    if (blocks.total == 0) {
        return NO_BLOCKS;
    }
    const std::uint32_t used = blocks.used();
    const std::uint32_t total = used + blocks.available;
    if (total == 0) {
        return NOTHING_TO_SHARE;
    }
    return static_cast<int>((used * 100 + total / 2) / total);
}
