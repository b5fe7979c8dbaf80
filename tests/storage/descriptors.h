/// \file
/// The process's open descriptors, which a call under test must give back.
#ifndef GPAL_TESTS_STORAGE_DESCRIPTORS_H
#define GPAL_TESTS_STORAGE_DESCRIPTORS_H

#include <filesystem>
#include <set>
#include <string>

/// Each open descriptor with what it stands for, but for the one that reads the list.
inline std::set<std::string> openDescriptors()
{
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

#endif
