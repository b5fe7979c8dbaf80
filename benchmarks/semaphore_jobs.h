/// \file
/// Jobs of semaphores and event objects, whoever does them.
#ifndef GPAL_BENCHMARKS_SEMAPHORE_JOBS_H
#define GPAL_BENCHMARKS_SEMAPHORE_JOBS_H

#include <benchmark/benchmark.h>
#include <thread>

#include "support.h"

namespace jobs
{

/// Takes and gives a lock that nobody else wants.
template <typename Lock>
void takeGive(benchmark::State& state)
{
    const auto lock = support::opaque<Lock>();
    for (auto _ : state) {
        lock->take();
        lock->give();
    }
}

/// Signals another thread and waits for its answer: two hand-overs.
template <typename Event>
void handOver(benchmark::State& state)
{
    const support::OneCore oneCore;
    const auto question = support::opaque<Event>();
    const auto answer = support::opaque<Event>();
    bool finished = false;
    std::thread other([&] {
        for (;;) {
            question->wait();
            if (finished) {
                return;
            }
            answer->signal();
        }
    });
    for (auto _ : state) {
        question->signal();
        answer->wait();
    }
    finished = true;
    question->signal();
    other.join();
}

inline void inTwoThreads(benchmark::internal::Benchmark* benchmark)
{
    constexpr int TIMES = 10000;
    benchmark->Iterations(TIMES)->MeasureProcessCPUTime()->UseRealTime();
}

} // namespace jobs

#endif
