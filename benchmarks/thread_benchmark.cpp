/// \file
/// Starting and joining a thread that does nothing. "layer" is the layer, with registry, process
/// manager and exit clean-up; "raw" is `pthread_create` and `pthread_join`.
#include <benchmark/benchmark.h>
#include <gpal/Threader.h>
#include <memory>
#include <pthread.h>

#include "support.h"
#include "thread_jobs.h"

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
    jobs::spawnJoin(state, [] {
        pthread_t thread{};
        pthread_create(&thread, nullptr, nothing, nullptr);
        pthread_join(thread, nullptr);
    });
}
BENCHMARK(raw)->Name("spawnJoin/raw")->Apply(jobs::ofThreads);

void threadable(benchmark::State& state)
{
    const std::unique_ptr<ThreaderIfc> threader(ThreaderFactory().createNewThreader());
    Nothing body;
    jobs::spawnJoin(state, [&] {
        unsigned long thread = 0;
        threader->spawn(&thread, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
        threader->waitForThreadCompletion(thread);
    });
}
BENCHMARK(threadable)->Name("spawnJoin/threadable")->Apply(jobs::ofThreads);

void function(benchmark::State& state)
{
    const auto threader = support::opaque<Threader>();
    jobs::spawnJoin(state, [&] {
        unsigned long thread = 0;
        threader->spawn(&thread, nothing, nullptr, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
        threader->waitForThreadCompletion(thread);
    });
}
BENCHMARK(function)->Name("spawnJoin/function")->Apply(jobs::ofThreads);

} // namespace
