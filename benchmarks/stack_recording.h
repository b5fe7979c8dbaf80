/// \file
/// Recording the stack again and again, where it has frames enough.
#ifndef GPAL_BENCHMARKS_STACK_RECORDING_H
#define GPAL_BENCHMARKS_STACK_RECORDING_H

#include "support.h"

namespace support
{

constexpr int FRAMES = 20;

using Record = int (*)(void**, int);

inline void record(benchmark::State& state, Record recorded)
{
    void* frames[FRAMES];
    auto loop = [&] {
        for (auto _ : state) {
            benchmark::DoNotOptimize(recorded(frames, FRAMES));
        }
    };
    atDepth(FRAMES, loop);
}

} // namespace support

#endif
