/// \file
/// Jobs of one-shot timers, whoever does them. A Timer is made from an interval in milliseconds and
/// a callback, and has start() and stop(). All threads share one core, as on the device: where
/// there are more, chance decides whether the monitor is awake before a pair is over.
#ifndef GPAL_BENCHMARKS_TIMER_JOBS_H
#define GPAL_BENCHMARKS_TIMER_JOBS_H

#include <benchmark/benchmark.h>
#include <cstdint>
#include <deque>
#include <semaphore.h>
#include <time.h>

#include "support.h"

namespace jobs
{

constexpr int SHORT_INTERVAL_MS = 50;
constexpr int LONG_INTERVAL_MS = 3600000;

inline double nanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Counts expiries, for a thread that waits for them.
class Expiries
{
public:
    Expiries() { sem_init(&m_count, 0, 0); }
    void add() { sem_post(&m_count); }
    void waitFor(int count)
    {
        for (int index = 0; index < count; ++index) {
            sem_wait(&m_count);
        }
    }

private:
    sem_t m_count{};
};

/// Timers that are armed for as long as they live.
template <typename Timer>
std::deque<Timer> armedTimers(std::int64_t count)
{
    std::deque<Timer> timers;
    for (std::int64_t index = 0; index < count; ++index) {
        timers.emplace_back(LONG_INTERVAL_MS, [] {}).start();
    }
    return timers;
}

/// Arms and disarms one timer while others are armed.
template <typename Timer>
void armDisarm(benchmark::State& state)
{
    const support::OneCore oneCore;
    const std::deque<Timer> others = armedTimers<Timer>(state.range(0));
    Timer timer(LONG_INTERVAL_MS, [] {});
    for (auto _ : state) {
        timer.start();
        timer.stop();
    }
}

inline void besideOthers(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(0)->Arg(10)->Arg(100)->MeasureProcessCPUTime()->UseRealTime();
}

/// 100 timers that fall due while the monitor is in the callback of another one; the time from
/// that callback's end to the last of them.
template <typename Timer>
void manyDueAtOnce(benchmark::State& state)
{
    const support::OneCore oneCore;
    constexpr int DUE = 100;
    constexpr int AFTER_THE_GATE_MS = 10;
    constexpr timespec UNTIL_ALL_ARE_DUE{0, 30000000};
    Expiries expiries;
    double gateOpened = 0;
    double last = 0;
    Timer gate(SHORT_INTERVAL_MS, [&] {
        nanosleep(&UNTIL_ALL_ARE_DUE, nullptr);
        gateOpened = nanoseconds();
    });
    std::deque<Timer> timers;
    for (int index = 0; index < DUE; ++index) {
        timers.emplace_back(SHORT_INTERVAL_MS + AFTER_THE_GATE_MS, [&] {
            last = nanoseconds();
            expiries.add();
        });
    }
    for (auto _ : state) {
        gate.start();
        for (Timer& timer : timers) {
            timer.start();
        }
        expiries.waitFor(DUE);
        state.SetIterationTime((last - gateOpened) / 1e9);
    }
}

inline void fewTimes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->UseManualTime()->Iterations(5);
}

} // namespace jobs

#endif
