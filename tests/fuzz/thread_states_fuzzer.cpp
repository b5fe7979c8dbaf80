/// \file
/// Takes any text for the kernel's line about a thread.
#include "check.h"
#include "process_threads.h"

using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string line(reinterpret_cast<const char*>(data), size);
    if (const auto thread = gpalinfo::parseThread(line)) {
        check(line.find("(" + thread->name + ")") != std::string::npos);
        check(!gpalinfo::nameOfState(thread->state).empty());
        gpalinfo::levelsOf(thread->nice);
    }
    return 0;
}
