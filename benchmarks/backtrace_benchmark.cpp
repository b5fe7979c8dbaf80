/// \file
/// Back traces. "layer" is the layer, "hand" what a program would call without it: the C library's
/// functions, which record and name addresses alike.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <execinfo.h>

#include <gpal/backtrace.h>

#include "stack_recording.h"

using support::FRAMES;
using support::record;
using support::recordDistinct;

namespace
{

BENCHMARK_CAPTURE(record, layer, get_backtrace)->Name("backtrace20/layer");
BENCHMARK_CAPTURE(record, hand, backtrace)->Name("backtrace20/hand");
BENCHMARK_CAPTURE(recordDistinct, layer, get_backtrace)->Name("backtrace20Functions/layer");
BENCHMARK_CAPTURE(recordDistinct, hand, backtrace)->Name("backtrace20Functions/hand");

using Describe = char** (*)(void**, int);

char** describeByHand(void** frames, int count)
{
    return backtrace_symbols(frames, count);
}

void describe(benchmark::State& state, Describe described)
{
    void* frames[FRAMES];
    int count = 0;
    auto once = [&] { count = backtrace(frames, FRAMES); };
    support::atDepth(FRAMES, once);
    for (auto _ : state) {
        char** texts = described(frames, count);
        benchmark::DoNotOptimize(texts);
        std::free(texts);
    }
}
BENCHMARK_CAPTURE(describe, layer, get_backtrace_symbols)->Name("symbols20/layer");
BENCHMARK_CAPTURE(describe, hand, describeByHand)->Name("symbols20/hand");

} // namespace
