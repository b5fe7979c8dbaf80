/// \file
/// Semaphores, critical sections, mutexes and event objects. "layer" is the layer, "hand" the same
/// algorithm in a module of this program (hand_*.h), "raw" the plain call that comes closest.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <semaphore.h>

#include <gpal/CriticalSection.h>
#include <gpal/GPALMutex.h>
#include <gpal/Semaphore.h>
#include <gpal/Wait.h>

#include "hand_critical_section.h"
#include "hand_mutex.h"
#include "hand_semaphore.h"
#include "semaphore_jobs.h"
#include "support.h"

using support::opaque;

namespace
{

/// One POSIX semaphore with one unit.
class RawSemaphore
{
public:
    RawSemaphore() { sem_init(&m_semaphore, 0, 1); }
    void take() { sem_wait(&m_semaphore); }
    void give() { sem_post(&m_semaphore); }

private:
    sem_t m_semaphore{};
};

/// Two lock/unlock pairs of a default mutex: what a semaphore made of one mutex can't go below.
class TwoMutexPairs
{
public:
    void take() { lockAndUnlock(); }
    void give() { lockAndUnlock(); }

private:
    void lockAndUnlock()
    {
        pthread_mutex_lock(&m_mutex);
        pthread_mutex_unlock(&m_mutex);
    }

    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};

BENCHMARK(jobs::takeGive<RawSemaphore>)->Name("takeGive/raw");
BENCHMARK(jobs::takeGive<TwoMutexPairs>)->Name("takeGive/twoMutexPairs");

template <typename AnySemaphore>
void takeGive(benchmark::State& state)
{
    const auto semaphore = opaque<AnySemaphore>(1, 1, false);
    for (auto _ : state) {
        semaphore->take(-1);
        semaphore->give();
    }
}
BENCHMARK(takeGive<Semaphore>)->Name("takeGive/layer");
BENCHMARK(takeGive<hand::Semaphore>)->Name("takeGive/hand");

/// Take and give by a thread that owns the semaphore already.
template <typename AnySemaphore>
void nestedTakeGive(benchmark::State& state)
{
    const auto semaphore = opaque<AnySemaphore>(1, 1, true);
    semaphore->take(-1);
    for (auto _ : state) {
        semaphore->take(-1);
        semaphore->give();
    }
    semaphore->give();
}
BENCHMARK(nestedTakeGive<Semaphore>)->Name("nestedTakeGive/layer");
BENCHMARK(nestedTakeGive<hand::Semaphore>)->Name("nestedTakeGive/hand");

template <typename Section, typename AnySemaphore>
void criticalSection(benchmark::State& state)
{
    const auto semaphore = opaque<AnySemaphore>(1, 1, false);
    for (auto _ : state) {
        const Section section(*semaphore);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(criticalSection<CriticalSection, Semaphore>)->Name("criticalSection/layer");
BENCHMARK(criticalSection<hand::CriticalSection, hand::Semaphore>)->Name("criticalSection/hand");

template <typename Mutex>
void mutexTakeGive(benchmark::State& state, Mutex& mutex)
{
    for (auto _ : state) {
        mutex.take();
        mutex.give();
    }
}

void mutexOfLayer(benchmark::State& state)
{
    mutexTakeGive(state, *opaque<GPALMutex>(GPAL_MUTEX_UNLOCKED));
}
BENCHMARK(mutexOfLayer)->Name("mutex/layer");

void mutexByHand(benchmark::State& state)
{
    mutexTakeGive(state, *opaque<hand::Mutex>());
}
BENCHMARK(mutexByHand)->Name("mutex/hand");

/// `take(0)` when there is no unit. The hand-written one leaves it to the kernel to find that the
/// time is up.
template <typename AnySemaphore>
void takeNothing(benchmark::State& state)
{
    const auto semaphore = opaque<AnySemaphore>(0, 1, false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(semaphore->take(0));
    }
}
BENCHMARK(takeNothing<Semaphore>)->Name("takeNothing/layer");
BENCHMARK(takeNothing<hand::Semaphore>)->Name("takeNothing/hand");

/// An event object by hand, with the interface of the layer's.
class HandWait
{
public:
    int wait() { return m_semaphore.take(-1); }
    int wait(int timeoutMs) { return m_semaphore.take(timeoutMs); }
    int signal() { return m_semaphore.give(); }

private:
    hand::Semaphore m_semaphore{0, 1, false};
};

template <typename AnyWait>
void waitForNothing(benchmark::State& state)
{
    const auto event = opaque<AnyWait>();
    for (auto _ : state) {
        benchmark::DoNotOptimize(event->wait(0));
    }
}
BENCHMARK(waitForNothing<Wait>)->Name("waitForNothing/layer");
BENCHMARK(waitForNothing<HandWait>)->Name("waitForNothing/hand");

BENCHMARK(jobs::handOver<Wait>)->Name("handOver/layer")->Apply(jobs::inTwoThreads);
BENCHMARK(jobs::handOver<HandWait>)->Name("handOver/hand")->Apply(jobs::inTwoThreads);

/// Several threads take and give one semaphore. A holder lets the others run, on one core, so that
/// they always queue. Without that the job has two states, one in which nobody ever meets anybody
/// and one in which all queue for good; they differ by a factor of a thousand and change by chance.
template <typename AnySemaphore>
void contendedTakeGive(benchmark::State& state)
{
    const support::OneCore oneCore;
    static std::unique_ptr<AnySemaphore> semaphore;
    if (state.thread_index() == 0) {
        semaphore = opaque<AnySemaphore>(1, 1, false);
    }
    for (auto _ : state) {
        semaphore->take(-1);
        sched_yield();
        semaphore->give();
    }
}

void byManyThreads(benchmark::internal::Benchmark* benchmark)
{
    constexpr int TIMES = 6000;
    benchmark->Threads(2)->Threads(4)->Threads(8)->Iterations(TIMES);
    benchmark->MeasureProcessCPUTime()->UseRealTime();
}
BENCHMARK(contendedTakeGive<Semaphore>)->Name("contendedTakeGive/layer")->Apply(byManyThreads);
BENCHMARK(contendedTakeGive<hand::Semaphore>)->Name("contendedTakeGive/hand")->Apply(byManyThreads);

} // namespace
