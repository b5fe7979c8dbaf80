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
#include <gpal/Process.h>
#include <memory>
#include <string>
#include <unistd.h>

#include "hand_process.h"
#include "process_jobs.h"
#include "support.h"

namespace
{

int runByLayer(ProcessFactoryIfc& factory, char** argv)
{
    ProcessIfc* process = factory.getProcess();
    process->start(1, argv, environ, nullptr);
    const int code = process->waitForExit();
    factory.destroy(process);
    return code;
}

void layer(benchmark::State& state)
{
    const auto factory = support::opaque<ProcessFactory>();
    jobs::runProgram(state, [&factory](char** argv) { return runByLayer(*factory, argv); });
}
BENCHMARK(layer)->Name("runProgram/layer")->Apply(jobs::fromSmallAndLargeParents);

void hand(benchmark::State& state)
{
    jobs::runProgram(state, [](char** argv) { return hand::runProgram(argv, environ); });
}
BENCHMARK(hand)->Name("runProgram/hand")->Apply(jobs::fromSmallAndLargeParents);

void startUp(benchmark::State& state, std::string program)
{
    const support::OneCore oneCore;
    char* argv[] = {program.data(), nullptr};
    for (auto _ : state) {
        const double before = jobs::processorSecondsOf(RUSAGE_CHILDREN);
        if (hand::runProgram(argv, environ) != 0) {
            state.SkipWithError("the program did not run");
        }
        state.SetIterationTime(jobs::processorSecondsOf(RUSAGE_CHILDREN) - before);
    }
}
BENCHMARK_CAPTURE(startUp, layer, PROGRAM_WITH_LAYER)->Name("startUp/layer")->UseManualTime();
BENCHMARK_CAPTURE(startUp, runtime, PROGRAM_WITHOUT)->Name("startUp/runtime")->UseManualTime();

} // namespace
