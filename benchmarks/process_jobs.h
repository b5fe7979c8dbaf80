/// \file
/// Running a program that does nothing, from start to end, whoever does it.
#ifndef GPAL_BENCHMARKS_PROCESS_JOBS_H
#define GPAL_BENCHMARKS_PROCESS_JOBS_H

#include <benchmark/benchmark.h>
#include <cstddef>
#include <sys/resource.h>
#include <vector>

#include "support.h"

namespace jobs
{

inline double secondsOf(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

inline double processorSecondsOf(__rusage_who who)
{
    rusage used{};
    getrusage(who, &used);
    return secondsOf(used.ru_utime) + secondsOf(used.ru_stime);
}

/// Processor time that this process and its children that were waited for have used.
inline double processorSeconds()
{
    return processorSecondsOf(RUSAGE_SELF) + processorSecondsOf(RUSAGE_CHILDREN);
}

/// Runs a program; \p run gets its argument vector and returns its exit code. The benchmark's
/// argument is the memory that the parent holds, in MiB. What is given as time is processor time:
/// most of it is the child's, which the benchmark library would not see.
template <typename Run>
void runProgram(benchmark::State& state, Run run)
{
    constexpr std::size_t MEBIBYTE = std::size_t{1} << 20;
    const support::OneCore oneCore;
    std::vector<char> held(static_cast<std::size_t>(state.range(0)) * MEBIBYTE, 'x');
    benchmark::DoNotOptimize(held.data());
    char program[] = "/bin/true";
    char* argv[] = {program, nullptr};
    for (auto _ : state) {
        const double start = processorSeconds();
        if (run(argv) != 0) {
            state.SkipWithError("the program did not run");
        }
        state.SetIterationTime(processorSeconds() - start);
    }
}

inline void fromSmallAndLargeParents(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(0)->Arg(64)->UseManualTime();
}

} // namespace jobs

#endif
