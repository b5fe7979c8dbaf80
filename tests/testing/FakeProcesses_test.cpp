// Child processes that never run.
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <gpal/testing/FakeProcesses.h>

namespace
{

using gpal::testing::FakeProcesses;
using testing::ElementsAre;

int start(ProcessIfc& process, std::vector<std::string> arguments)
{
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    return process.start(static_cast<int>(arguments.size()), argv.data(), nullptr, nullptr);
}

TEST(FakeProcesses, endAsTheyAreTold)
{
    FakeProcesses processes;
    processes.exitWith("/bin/update", 3);
    ProcessIfc* child = processes.getProcess();
    start(*child, {"/bin/update", "--now"});
    EXPECT_EQ(child->waitForExit(), 3);
    processes.destroy(child);
    EXPECT_THAT(processes.started(), ElementsAre(ElementsAre("/bin/update", "--now")));
}

TEST(FakeProcesses, failToStartAsTheyAreTold)
{
    FakeProcesses processes;
    processes.failToStart("/bin/update", "GPAL Process missing application");
    const std::unique_ptr<ProcessIfc> child(processes.getProcess());
    EXPECT_THROW(start(*child, {"/bin/update"}), GPALProcessException);
    EXPECT_EQ(child->ID(), 0);
}

TEST(FakeProcesses, rememberSignals)
{
    FakeProcesses processes;
    ProcessIfc* child = processes.getProcess();
    start(*child, {"/bin/server"});
    const int pid = child->ID();
    child->sigusr1();
    child->sigusr2();
    processes.destroy(child); // which takes its child along
    EXPECT_THAT(processes.signals(), ElementsAre(FakeProcesses::SignalSent{pid, SIGUSR1},
                                                 FakeProcesses::SignalSent{pid, SIGUSR2},
                                                 FakeProcesses::SignalSent{pid, SIGTERM}));
}

// What a never-started object would do hits the caller's whole process group: the test fails of it.
TEST(FakeProcesses, refuseToSignalEverybody)
{
    const auto failsOf = [](const std::function<void(ProcessIfc&)>& deed) {
        testing::TestPartResultArray failures;
        FakeProcesses processes;
        const std::unique_ptr<ProcessIfc> child(processes.getProcess());
        const testing::ScopedFakeTestPartResultReporter reporter(&failures);
        deed(*child);
        return failures.size() == 1 ? std::string(failures.GetTestPartResult(0).message()) : "";
    };
    const auto neverStarted = testing::HasSubstr("never started");
    EXPECT_THAT(failsOf([](ProcessIfc& child) { child.destroy(); }), neverStarted);
    EXPECT_THAT(failsOf([](ProcessIfc& child) { child.sigusr1(); }), neverStarted);
    EXPECT_THAT(failsOf([](ProcessIfc& child) { child.sigusr2(); }), neverStarted);
    EXPECT_THAT(failsOf([](ProcessIfc& child) { child.waitForExit(); }), neverStarted);
}

} // namespace
