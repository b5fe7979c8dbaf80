/// \file
/// Starting and joining a thread that does nothing, whoever does it.
#ifndef GPAL_BENCHMARKS_THREAD_JOBS_H
#define GPAL_BENCHMARKS_THREAD_JOBS_H

#include <benchmark/benchmark.h>

#include "support.h"

namespace jobs
{

template <typename SpawnAndJoin>
void spawnJoin(benchmark::State& state, SpawnAndJoin spawnAndJoin)
{
    const support::OneCore oneCore;
    for (auto _ : state) {
        spawnAndJoin();
    }
}

inline void ofThreads(benchmark::internal::Benchmark* benchmark)
{
    benchmark->MeasureProcessCPUTime()->UseRealTime();
}

} // namespace jobs

#endif
