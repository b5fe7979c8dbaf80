/// \file
/// Back traces beside libunwind's, in a program of their own: that library takes the unwinding of
/// the C++ runtime over in any program that it is linked to.
#include <benchmark/benchmark.h>

#define UNW_LOCAL_ONLY
#include <libunwind.h>

#include <gpal/backtrace.h>

#include "stack_recording.h"

using support::record;

namespace
{

int recordByLibunwind(void** frames, int count)
{
    return unw_backtrace(frames, count);
}

BENCHMARK_CAPTURE(record, layer, get_backtrace)->Name("unwound20/layer");
BENCHMARK_CAPTURE(record, libunwind, recordByLibunwind)->Name("unwound20/libunwind");

} // namespace
