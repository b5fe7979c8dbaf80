/// \file
/// A file of the fuzzer's own, which lives in memory.
#ifndef GPAL_TESTS_FUZZ_MEMORY_FILE_H
#define GPAL_TESTS_FUZZ_MEMORY_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "check.h"

namespace fuzz
{

class MemoryFile
{
public:
    MemoryFile() : m_descriptor(memfd_create("fuzzed", MFD_CLOEXEC)) {}

    /// Gives the file this content, and returns the path under which it can be opened.
    std::string with(const std::uint8_t* data, std::size_t size) const
    {
        check(ftruncate(m_descriptor, 0) == 0);
        check(pwrite(m_descriptor, data, size, 0) == static_cast<ssize_t>(size));
        return "/proc/self/fd/" + std::to_string(m_descriptor);
    }

    std::string content() const
    {
        std::string content(static_cast<std::size_t>(lseek(m_descriptor, 0, SEEK_END)), ' ');
        check(pread(m_descriptor, content.data(), content.size(), 0) ==
              static_cast<ssize_t>(content.size()));
        return content;
    }

private:
    int m_descriptor;
};

} // namespace fuzz

#endif
