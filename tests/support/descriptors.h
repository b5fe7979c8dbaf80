/// \file
/// The process's open descriptors, which a call under test must give back.
#ifndef GPAL_TESTS_SUPPORT_DESCRIPTORS_H
#define GPAL_TESTS_SUPPORT_DESCRIPTORS_H

#include <fcntl.h>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

namespace support
{

/// Each open descriptor with what it stands for, but for the one that reads the list.
inline std::set<std::string> openDescriptors()
{
    // Some threads libraries keep a pipe of their own from the first thread on.
    [[maybe_unused]] static const bool threadsHaveBegun = (std::thread([] {}).join(), true);
    std::set<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone);
        if (target.rfind("/proc/", 0) != 0) {
            all.insert(entry.path().filename().string() + " " + target);
        }
    }
    return all;
}

/// The number that the next descriptor will have.
inline int lowestFreeDescriptor()
{
    const int descriptor = open("/dev/null", O_RDONLY);
    close(descriptor);
    return descriptor;
}

} // namespace support

#endif
