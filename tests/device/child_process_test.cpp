// Children started by a vfork that is one: until a child runs its program it has its parent's
// memory, and the thread that started it stands still.
#include <gpal/Process.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "device/booted.h"
#include "process/programs.h"
#include "support/c_library.h"
#include "support/heap.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

namespace
{

void (*beforeExec)() = [] {};

} // namespace

extern "C" int execve(const char* path, char* const* argv, char* const* envp) noexcept
{
    beforeExec();
    return static_cast<int>(syscall(SYS_execve, path, argv, envp));
}

namespace
{

std::atomic<int> childrenSeen{0};
std::atomic<bool> handled{false};
std::atomic<bool> exitHandled{false};

std::string countOf(const char* directory)
{
    return std::to_string(std::distance(std::filesystem::directory_iterator(directory),
                                        std::filesystem::directory_iterator()));
}

/// What a process may lose when a child of it shares its memory.
std::string possessions()
{
    return countOf("/proc/self/fd") + " descriptors, " + countOf("/proc/self/task") + " threads";
}

/// Does something many times, after some turns in which memory for later ones may stay allocated.
template <typename Action>
void expectNothingLostBy(Action action)
{
    constexpr std::size_t TURNS = 30;
    // A heap may leave rests of its pieces to blocks, so a few bytes come and go; no block is
    // smaller.
    constexpr std::size_t SMALLEST_BLOCK = 8;
    for (int i = 0; i < 5; ++i) {
        action();
        possessions();
    }
    const std::string before = possessions();
    const std::size_t bytes = support::heapInUse().inArena;
    for (std::size_t i = 0; i < TURNS; ++i) {
        action();
    }
    EXPECT_LT(support::heapInUse().inArena, bytes + TURNS * SMALLEST_BLOCK);
    EXPECT_EQ(possessions(), before);
}

/// Where threads are processes, the C library has a fork under the name of vfork.
std::string whyVforkIsAFork()
{
    childrenSeen = 0;
    const pid_t child = vfork();
    if (child == 0) {
        ++childrenSeen; // in whose memory?
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    return childrenSeen == 1 ? "" : "the C library's vfork is a fork";
}

class ChildOfVfork : public devicetest::OnTheDevice
{
protected:
    void restore() override
    {
        beforeExec = [] {};
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left";
    }

    /// A program that may be executed, as far as its mode goes.
    std::string refusedProgram() const
    {
        return writeProgram(m_directory.path("program"),
                            "\x7f"
                            "ELF and nothing else",
                            0700);
    }

    support::TemporaryDirectory m_directory;
};

} // namespace

TEST_F(ChildOfVfork, runsInItsParentsMemoryWhileTheStarterStandsStillAndOthersGoOn)
{
    GPAL_SKIP_BECAUSE(whyVforkIsAFork());
    constexpr int HELD_UP_MS = 500;
    childrenSeen = 0;
    beforeExec = [] {
        usleep(HELD_UP_MS * 1000);
        ++childrenSeen;
    };
    std::atomic<bool> started{false};
    std::atomic<int> steps{0};
    std::thread other([&] {
        for (; !started; ++steps) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const int before = steps;
    const auto start = std::chrono::steady_clock::now();
    Process process;
    EXPECT_EQ(::start(process, {"/bin/true"}), 1);
    const int seen = childrenSeen;
    started = true;
    EXPECT_GE(support::millisecondsSince(start), HELD_UP_MS);
    EXPECT_EQ(seen, 1) << "what the child wrote is not seen, or it has not written yet";
    other.join();
    EXPECT_GE(steps - before, HELD_UP_MS / 10);
    EXPECT_EQ(process.waitForExit(), 0);
}

TEST_F(ChildOfVfork, whoseProgramTheKernelRefusesTakesNothingOfItsParents)
{
    const std::string program = refusedProgram();
    std::atexit([] { exitHandled = true; });
    const std::string path = m_directory.path("buffered");
    FILE* const buffered = std::fopen(path.c_str(), "w");
    std::fputs("written once", buffered);
    expectNothingLostBy([&] {
        Process process;
        EXPECT_EQ(start(process, {program, "argument"}), 1);
        EXPECT_EQ(process.type(), program);
        EXPECT_EQ(process.waitForExit(), 255);
    });
    EXPECT_FALSE(exitHandled) << "the child is to leave without its parent's handlers";
    EXPECT_EQ(support::contentOf(path), "") << "the child is to leave its parent's buffers alone";
    std::fclose(buffered);
    EXPECT_EQ(support::contentOf(path), "written once");
}

TEST_F(ChildOfVfork, thatRunsTakesNothingOfItsParentsEither)
{
    expectNothingLostBy([] {
        Process process;
        EXPECT_EQ(startShell(process, "exit 7"), 1);
        EXPECT_EQ(process.waitForExit(), 7);
    });
}

TEST_F(ChildOfVfork, getsNoSignalOfItsParentsBeforeItsProgramRuns)
{
    GPAL_SKIP_BECAUSE(whyVforkIsAFork());
    handled = false;
    std::signal(SIGUSR1, [](int) { handled = true; });
    for (int i = 0; i < 30; ++i) {
        Process process;
        start(process, {"/bin/sleep", "5"});
        EXPECT_EQ(process.sigusr1(), -1);
        EXPECT_EQ(process.waitForExit(), -1) << "the program does not have the handler";
    }
    EXPECT_FALSE(handled) << "a child ran its parent's handler in its parent's memory";
    std::signal(SIGUSR1, SIG_DFL);
}

TEST_F(ChildOfVfork, canBeStartedByManyThreadsAtOnceEachOfWhichGetsItsOwn)
{
    std::vector<std::thread> starters;
    std::vector<std::vector<int>> codes(6);
    for (std::size_t number = 0; number < codes.size(); ++number) {
        starters.emplace_back([number, &codes] {
            for (int i = 0; i < 10; ++i) {
                Process process;
                startShell(process, "exit " + std::to_string(10 * number));
                codes[number].push_back(process.waitForExit());
            }
        });
    }
    for (std::size_t number = 0; number < codes.size(); ++number) {
        starters[number].join();
        EXPECT_EQ(codes[number], std::vector<int>(10, static_cast<int>(10 * number)));
    }
}
