/// \file
/// Starting and joining a thread that does nothing. "layer" is the layer, with registry, process
/// manager and exit clean-up; "raw" is `pthread_create` and `pthread_join`.
#include <benchmark/benchmark.h>
#include <gpal/Threader.h>
#include <memory>
#include <pthread.h>

#include "support.h"

namespace
{

void* nothing(void*)
{
    return nullptr;
}

class Nothing : public Threadable
{
public:
    void run() override {}
};

void raw(benchmark::State& state)
{
    const support::OneCore oneCore;
    for (auto _ : state) {
        pthread_t thread{};
        pthread_create(&thread, nullptr, nothing, nullptr);
        pthread_join(thread, nullptr);
    }
}
BENCHMARK(raw)->Name("spawnJoin/raw")->MeasureProcessCPUTime()->UseRealTime();

void threadable(benchmark::State& state)
{
    const support::OneCore oneCore;
    const std::unique_ptr<ThreaderIfc> threader(ThreaderFactory().createNewThreader());
    Nothing body;
    for (auto _ : state) {
        unsigned long thread = 0;
        threader->spawn(&thread, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
        threader->waitForThreadCompletion(thread);
    }
}
BENCHMARK(threadable)->Name("spawnJoin/threadable")->MeasureProcessCPUTime()->UseRealTime();

void function(benchmark::State& state)
{
    const support::OneCore oneCore;
    const auto threader = support::opaque<Threader>();
    for (auto _ : state) {
        unsigned long thread = 0;
        threader->spawn(&thread, nothing, nullptr, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
        threader->waitForThreadCompletion(thread);
    }
}
BENCHMARK(function)->Name("spawnJoin/function")->MeasureProcessCPUTime()->UseRealTime();

} // namespace
