// Children that die while they are signalled and waited for.
#include <atomic>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

#include "storms/storm.h"

namespace calls = support::calls;
using storms::Dice;
using storms::onThreads;
using support::Replacement;

namespace
{

/// Whether a process is a child of this one: an id that was reaped may be another's by now.
bool isChild(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string id;
    std::string name;
    std::string state;
    pid_t parent = 0;
    return status >> id >> name >> state >> parent && parent == getpid();
}

/// Sends a child one of the signals that the layer knows; returns whether there was a child.
bool signal(Process& child, Dice& dice)
{
    try {
        switch (dice.below(3)) {
        case 0:
            return child.sigusr1() == -1;
        case 1:
            return child.sigusr2() == -1;
        default:
            return child.destroy() == -1;
        }
    } catch (const GPALProcessException& failure) {
        EXPECT_EQ("GPAL Process unknown process", failure.message());
        return false;
    }
}

} // namespace

using ChildrenStorm = storms::Storm;

TEST_F(ChildrenStorm, childrenDieWhileTheyAreSignalledAndWaitedFor)
{
    const Replacement onlyChildren(calls::kill, [](pid_t process, int signal) {
        if (!isChild(process)) {
            errno = ESRCH;
            return -1;
        }
        return calls::kill.original(process, signal);
    });
    constexpr int THREADS = 4;
    const char* brief[] = {"/bin/sleep", "0.002", nullptr};
    std::atomic<int> ended{0};
    std::atomic<int> killed{0};
    std::atomic<int> signalled{0};
    std::atomic<int> started{0};
    const auto end = storms::endOfStorm(std::chrono::milliseconds(600));
    onThreads(THREADS, [&](int thread) {
        Dice dice(static_cast<unsigned int>(thread));
        while (std::chrono::steady_clock::now() < end) {
            Process child;
            ASSERT_EQ(1, child.start(2, const_cast<char**>(brief), environ, nullptr));
            ++started;
            stress::LayerThread signalling([&] {
                Dice own(static_cast<unsigned int>(child.ID()));
                storms::waitUpTo(own, 4000);
                signalled += signal(child, own) ? 1 : 0;
                child.isRunning();
            });
            const int code = child.waitForExit();
            (code == 0 ? ended : killed) += 1;
            ASSERT_TRUE(code == 0 || code == -1) << code;
            signalling.join();
        }
    });
    EXPECT_EQ(started, ended + killed);
    EXPECT_LE(killed, signalled);
    say(std::to_string(started) + " children started, " + std::to_string(ended) + " ended, " +
        std::to_string(killed) + " killed");
}
