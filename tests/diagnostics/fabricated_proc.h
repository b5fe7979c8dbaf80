/// \file
/// A "/proc" of the test's own, for a process in private namespaces.
#ifndef GPAL_TESTS_DIAGNOSTICS_FABRICATED_PROC_H
#define GPAL_TESTS_DIAGNOSTICS_FABRICATED_PROC_H

#include <filesystem>
#include <fstream>
#include <string>

#include "support/temporary_mounts.h"

/// Hides the kernel's files behind an empty directory in memory while it lives. (What looks after
/// the test program itself, such as a sanitizer, finds them again at the end.)
class FabricatedProc
{
public:
    /// Makes a file, and the directory that it is in.
    void file(const std::string& name, const std::string& content) const
    {
        const std::filesystem::path path = "/proc/" + name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }

    /// Makes a process that was started with this command line.
    void process(const std::string& id, const std::string& commandLine) const
    {
        file(id + "/cmdline", commandLine);
    }

private:
    support::EmptyInPlace m_directory{"/proc"};
};

#endif
