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
#include <signal.h>
#include <time.h>
#include <utility>
#include <vector>

#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>

#include "hand_timers.h"
#include "support.h"
#include "timer_jobs.h"

namespace
{

using namespace jobs;

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

BENCHMARK(armDisarm<LayerTimer>)->Name("armDisarm/layer")->Apply(besideOthers);
BENCHMARK(armDisarm<HandTimer>)->Name("armDisarm/hand")->Apply(besideOthers);
BENCHMARK(armDisarm<RawTimer>)->Name("armDisarm/raw")->Apply(besideOthers);

/// The same beside very many others, with time for the monitor to fall asleep again after each
/// pair, so that its passes are counted too.
template <typename Timer>
void pacedPair(benchmark::State& state)
{
    const support::OneCore oneCore;
    constexpr timespec UNTIL_THE_MONITOR_SLEEPS{0, 300000};
    const std::deque<Timer> others = armedTimers<Timer>(state.range(0));
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
