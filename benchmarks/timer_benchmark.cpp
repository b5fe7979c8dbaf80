/// \file
/// One-shot timers. "layer" is the layer's monitor thread, "hand" a minimal monitor thread of this
/// program with the kernel's default timer slack (hand_timers.h), "raw" a POSIX timer. All threads
/// share one core, as on the device: where there are more, chance decides whether the monitor is
/// awake before a pair is over.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <deque>
#include <functional>
#include <memory>
#include <semaphore.h>
#include <signal.h>
#include <time.h>
#include <utility>
#include <vector>

#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>

#include "hand_timers.h"
#include "support.h"

namespace
{

constexpr int SHORT_INTERVAL_MS = 50;
constexpr int LONG_INTERVAL_MS = 3600000;

double nanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// A timer of the layer that calls a function.
class LayerTimer : private timeAble
{
public:
    LayerTimer(int intervalMs, std::function<void()> callback) : m_callback(std::move(callback))
    {
        static osTimerThread* const monitor = startedMonitor();
        benchmark::DoNotOptimize(monitor);
        m_timer.reset(OSTimerFactory().getTimer());
        m_timer->init(this, intervalMs);
    }

    void start() { m_timer->start(); }
    void stop() { m_timer->stop(); }

private:
    static osTimerThread* startedMonitor()
    {
        auto* monitor = new osTimerThread;
        monitor->start();
        return monitor;
    }

    int timerExpired(osTimerIfc*) override
    {
        m_callback();
        return 0;
    }

    std::function<void()> m_callback;
    std::unique_ptr<osTimerIfc> m_timer;
};

/// A timer of the hand-written monitor.
class HandTimer : public hand::Timer
{
public:
    HandTimer(int intervalMs, std::function<void()> callback)
        : hand::Timer(monitor(), intervalMs, std::move(callback))
    {
    }

private:
    static hand::TimerMonitor& monitor()
    {
        static auto* const monitor = new hand::TimerMonitor;
        return *monitor;
    }
};

/// A POSIX timer; it never expires here, so the signal that it would send is never sent.
class RawTimer
{
public:
    RawTimer(int intervalMs, const std::function<void()>& /*callback*/)
    {
        m_setting.it_value.tv_sec = intervalMs / 1000;
        timer_create(CLOCK_MONOTONIC, nullptr, &m_timer);
    }
    RawTimer(const RawTimer&) = delete;
    RawTimer& operator=(const RawTimer&) = delete;
    ~RawTimer() { timer_delete(m_timer); }

    void start() { timer_settime(m_timer, 0, &m_setting, nullptr); }
    void stop()
    {
        const itimerspec disarmed{};
        timer_settime(m_timer, 0, &disarmed, nullptr);
    }

private:
    timer_t m_timer{};
    itimerspec m_setting{};
};

/// Counts expiries.
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

/// Arms and disarms one timer while others are armed.
template <typename Timer>
void armDisarm(benchmark::State& state)
{
    const support::OneCore oneCore;
    std::deque<Timer> others;
    for (int index = 0; index < state.range(0); ++index) {
        others.emplace_back(LONG_INTERVAL_MS, [] {}).start();
    }
    Timer timer(LONG_INTERVAL_MS, [] {});
    for (auto _ : state) {
        timer.start();
        timer.stop();
    }
}
BENCHMARK(armDisarm<LayerTimer>)
    ->Name("armDisarm/layer")
    ->Arg(0)
    ->Arg(10)
    ->Arg(100)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(armDisarm<HandTimer>)
    ->Name("armDisarm/hand")
    ->Arg(0)
    ->Arg(10)
    ->Arg(100)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(armDisarm<RawTimer>)
    ->Name("armDisarm/raw")
    ->Arg(0)
    ->Arg(10)
    ->Arg(100)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

/// The same beside very many others, with time for the monitor to fall asleep again after each
/// pair, so that its passes are counted too.
template <typename Timer>
void pacedPair(benchmark::State& state)
{
    const support::OneCore oneCore;
    constexpr timespec UNTIL_THE_MONITOR_SLEEPS{0, 300000};
    std::deque<Timer> others;
    for (int index = 0; index < state.range(0); ++index) {
        others.emplace_back(LONG_INTERVAL_MS, [] {}).start();
    }
    Timer timer(LONG_INTERVAL_MS, [] {});
    for (auto _ : state) {
        timer.start();
        timer.stop();
        nanosleep(&UNTIL_THE_MONITOR_SLEEPS, nullptr);
    }
}
BENCHMARK(pacedPair<LayerTimer>)
    ->Name("pacedPair/layer")
    ->Arg(1000)
    ->Iterations(200)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(pacedPair<HandTimer>)
    ->Name("pacedPair/hand")
    ->Arg(1000)
    ->Iterations(200)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

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
BENCHMARK(manyDueAtOnce<LayerTimer>)->Name("manyDueAtOnce/layer")->UseManualTime()->Iterations(5);
BENCHMARK(manyDueAtOnce<HandTimer>)->Name("manyDueAtOnce/hand")->UseManualTime()->Iterations(5);

/// By how much a callback comes after its time: a sample for each of several timers, a few
/// milliseconds apart.
template <typename Timer>
void lateness(benchmark::State& state)
{
    const support::OneCore oneCore;
    constexpr int TIMERS = 16;
    constexpr int APART_MS = 3;
    Expiries expiries;
    std::vector<double> dueAt(TIMERS);
    std::vector<double> samples;
    std::deque<Timer> timers;
    for (int index = 0; index < TIMERS; ++index) {
        timers.emplace_back(SHORT_INTERVAL_MS + APART_MS * index,
                            [&, due = &dueAt[static_cast<std::size_t>(index)]] {
                                samples.push_back(nanoseconds() - *due);
                                expiries.add();
                            });
    }
    for (auto _ : state) {
        for (std::size_t index = 0; index < TIMERS; ++index) {
            const int intervalMs = SHORT_INTERVAL_MS + APART_MS * static_cast<int>(index);
            dueAt[index] = nanoseconds() + intervalMs * 1e6;
            timers[index].start();
        }
        expiries.waitFor(TIMERS);
    }
    std::sort(samples.begin(), samples.end());
    state.counters["median"] = samples[samples.size() / 2];
    state.counters["p99"] = samples[samples.size() * 99 / 100];
}
BENCHMARK(lateness<LayerTimer>)->Name("lateness/layer")->UseRealTime()->Iterations(10);
BENCHMARK(lateness<HandTimer>)->Name("lateness/hand")->UseRealTime()->Iterations(10);

} // namespace
