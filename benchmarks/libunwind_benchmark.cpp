/// \file
/// Back traces by libunwind, in a program of their own: that library takes the unwinding of the C++
/// runtime over in any program that it is linked to.

#define UNW_LOCAL_ONLY
#include <libunwind.h>

#include "stack_recording.h"

using support::record;

namespace
{

int recordByLibunwind(void** frames, int count)
{
    return unw_backtrace(frames, count);
}

BENCHMARK_CAPTURE(record, libunwind, recordByLibunwind)->Name("backtrace20/libunwind");

} // namespace
