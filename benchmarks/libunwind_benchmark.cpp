/// \file
/// Back traces beside libunwind's, in a program of their own: that library takes the unwinding of
/// the C++ runtime over in any program that it is linked to.
#include <benchmark/benchmark.h>

#define UNW_LOCAL_ONLY
#include <libunwind.h>

#include <gpal/backtrace.h>

#include "support.h"

namespace
{

constexpr int FRAMES = 20;

using Record = int (*)(void**, int);

int recordByLibunwind(void** frames, int count)
{
    return unw_backtrace(frames, count);
}

void record(benchmark::State& state, Record recorded)
{
    void* frames[FRAMES];
    auto loop = [&] {
        for (auto _ : state) {
            benchmark::DoNotOptimize(recorded(frames, FRAMES));
        }
    };
    support::atDepth(FRAMES, loop);
}
BENCHMARK_CAPTURE(record, layer, get_backtrace)->Name("unwound20/layer");
BENCHMARK_CAPTURE(record, libunwind, recordByLibunwind)->Name("unwound20/libunwind");

} // namespace
