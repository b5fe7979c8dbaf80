/// \file
/// What the benchmarks share.
#ifndef GPAL_BENCHMARKS_SUPPORT_H
#define GPAL_BENCHMARKS_SUPPORT_H

#include <benchmark/benchmark.h>
#include <memory>
#include <sched.h>
#include <utility>

namespace support
{

/// An object of which the compiler knows nothing but its declared type, as a client that got it
/// from a factory: calls to virtual functions stay virtual calls.
template <typename Object, typename... Arguments>
std::unique_ptr<Object> opaque(Arguments&&... arguments)
{
    auto* object = new Object(std::forward<Arguments>(arguments)...);
    benchmark::DoNotOptimize(object);
    return std::unique_ptr<Object>(object);
}

/// Runs \p work with \p depth frames more on the stack.
template <typename Work>
__attribute__((noinline)) void atDepth(int depth, Work& work)
{
    if (depth == 0) {
        work();
    } else {
        atDepth(depth - 1, work);
    }
    benchmark::ClobberMemory();
}

/// Keeps the calling thread, and the threads that it creates, on one core for a scope, as on the
/// device.
class OneCore
{
public:
    OneCore()
    {
        sched_getaffinity(0, sizeof m_before, &m_before);
        int core = 0;
        while (!CPU_ISSET(core, &m_before)) {
            ++core;
        }
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(core, &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    OneCore(const OneCore&) = delete;
    OneCore& operator=(const OneCore&) = delete;
    ~OneCore() { sched_setaffinity(0, sizeof m_before, &m_before); }

private:
    cpu_set_t m_before{};
};

} // namespace support

#endif
