/// \file
/// A file of the fuzzer's own, which lives in memory.
#ifndef GPAL_TESTS_FUZZ_MEMORY_FILE_H
#define GPAL_TESTS_FUZZ_MEMORY_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace fuzz
{

class MemoryFile
{
public:
    MemoryFile() : m_descriptor(memfd_create("fuzzed", MFD_CLOEXEC)) {}

    /// Gives the file this content, and returns the path under which it can be opened.
    std::string with(const std::uint8_t* data, std::size_t size) const
    {
        if (ftruncate(m_descriptor, 0) != 0 ||
            pwrite(m_descriptor, data, size, 0) != static_cast<ssize_t>(size)) {
            std::abort();
        }
        return "/proc/self/fd/" + std::to_string(m_descriptor);
    }

private:
    int m_descriptor;
};

} // namespace fuzz

#endif
