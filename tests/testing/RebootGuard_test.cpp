// An exception that escapes a thread ends the test program and not the machine.
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <gtest/gtest.h>

#include <gpal/Threader.h>

namespace
{

class LeakyPump : public Threadable
{
public:
    void run() override { throw std::runtime_error("no water"); }
};

// Nothing is included for this: the program links gpal::testing_guard.
TEST(RebootGuard, endsTheProgramAndSaysWhatEscaped)
{
    const auto runThePump = [] {
        setenv("PATH", "/nowhere", 1); // if all else fails there is no such command
        LeakyPump pump;
        unsigned long thread = 0;
        Threader().spawn(&thread, &pump, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
        pump.waitForThreadCompletion();
    };
    EXPECT_EXIT(runThePump(), testing::KilledBySignal(SIGABRT),
                "would reboot this machine.*LeakyPump - no water");
}

} // namespace
