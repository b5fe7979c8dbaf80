/// \file
/// Takes any file for the command line of a process.
#include "diagnostics/command_line.h"

#include "check.h"
#include "memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const fuzz::MemoryFile file;
    const std::string program = gpal::detail::programIn(file.with(data, size));
    fuzz::check(program.size() <= 1023 && program.size() <= size);
    return 0;
}
