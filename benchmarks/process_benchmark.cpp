/// \file
/// Running a program that does nothing, from start to end. "layer" is the layer, with its checks of
/// the file and the process manager's priority; "hand" is vfork, execve and waitpid
/// (hand_process.h). The parent is small, or holds memory that a copying fork would have to look
/// through.
///
/// And what the library costs a program before it does anything: "startUp/layer" is one that is
/// linked with it, "startUp/runtime" one with the C++ runtime alone; processor time of the program
/// only.
#include <benchmark/benchmark.h>
#include <cstddef>
#include <gpal/Process.h>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "hand_process.h"
#include "support.h"

namespace
{

constexpr std::size_t MEBIBYTE = std::size_t{1} << 20;

double secondsOf(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

double processorSecondsOf(__rusage_who who)
{
    rusage used{};
    getrusage(who, &used);
    return secondsOf(used.ru_utime) + secondsOf(used.ru_stime);
}

/// Processor time that this process and its children that were waited for have used.
double processorSeconds()
{
    return processorSecondsOf(RUSAGE_SELF) + processorSecondsOf(RUSAGE_CHILDREN);
}

int runByLayer(ProcessFactoryIfc& factory, char** argv)
{
    ProcessIfc* process = factory.getProcess();
    process->start(1, argv, environ, nullptr);
    const int code = process->waitForExit();
    factory.destroy(process);
    return code;
}

/// The argument is the memory that the parent holds, in MiB. What is given as time is processor
/// time: most of it is the child's, which the benchmark library would not see.
template <typename Run>
void runProgram(benchmark::State& state, Run run)
{
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

void layer(benchmark::State& state)
{
    const auto factory = support::opaque<ProcessFactory>();
    runProgram(state, [&factory](char** argv) { return runByLayer(*factory, argv); });
}
BENCHMARK(layer)->Name("runProgram/layer")->Arg(0)->Arg(64)->UseManualTime();

void hand(benchmark::State& state)
{
    runProgram(state, [](char** argv) { return hand::runProgram(argv, environ); });
}
BENCHMARK(hand)->Name("runProgram/hand")->Arg(0)->Arg(64)->UseManualTime();

void startUp(benchmark::State& state, std::string program)
{
    const support::OneCore oneCore;
    char* argv[] = {program.data(), nullptr};
    for (auto _ : state) {
        const double before = processorSecondsOf(RUSAGE_CHILDREN);
        if (hand::runProgram(argv, environ) != 0) {
            state.SkipWithError("the program did not run");
        }
        state.SetIterationTime(processorSecondsOf(RUSAGE_CHILDREN) - before);
    }
}
BENCHMARK_CAPTURE(startUp, layer, PROGRAM_WITH_LAYER)->Name("startUp/layer")->UseManualTime();
BENCHMARK_CAPTURE(startUp, runtime, PROGRAM_WITHOUT)->Name("startUp/runtime")->UseManualTime();

} // namespace
