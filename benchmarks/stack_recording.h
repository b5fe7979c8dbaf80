/// \file
/// Recording the stack again and again, where it has frames enough.
#ifndef GPAL_BENCHMARKS_STACK_RECORDING_H
#define GPAL_BENCHMARKS_STACK_RECORDING_H

#include "support.h"

namespace support
{

constexpr int FRAMES = 20;

using Record = int (*)(void**, int);

/// Runs \p work with DEPTH frames more on the stack, each of a function of its own.
template <int DEPTH, typename Work>
__attribute__((noinline)) void inDistinctFunctions(Work& work)
{
    if constexpr (DEPTH == 0) {
        work();
    } else {
        inDistinctFunctions<DEPTH - 1>(work);
    }
    benchmark::ClobberMemory();
}

template <typename Loop>
void recordAgain(benchmark::State& state, Record recorded, void** frames, const Loop& at)
{
    auto loop = [&] {
        for (auto _ : state) {
            benchmark::DoNotOptimize(recorded(frames, FRAMES));
        }
    };
    at(loop);
}

/// A function that calls itself.
inline void record(benchmark::State& state, Record recorded)
{
    void* frames[FRAMES];
    recordAgain(state, recorded, frames, [](auto& loop) { atDepth(FRAMES, loop); });
}

/// Functions that call one another.
inline void recordDistinct(benchmark::State& state, Record recorded)
{
    void* frames[FRAMES];
    recordAgain(state, recorded, frames, [](auto& loop) { inDistinctFunctions<FRAMES>(loop); });
}

} // namespace support

#endif
