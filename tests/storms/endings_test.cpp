// Processes that end and fork while everything is going on in them.
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "storms/storm.h"
#include "support/forked_exit.h"
#include "support/observed.h"

using storms::Dice;
using storms::times;

namespace
{

/// What threads use until the process is gone, and nobody gives back.
struct Work : Threadable {
    void run() override
    {
        for (;;) {
            lock.take(-1);
            timer.start();
            lock.give();
            event.wait(1);
            Semaphore briefly(0, 1, false);
            briefly.take(0);
        }
    }

    Semaphore lock{1, 1, false};
    Wait event;
    struct : timeAble {
        int timerExpired(osTimerIfc* /*timer*/) override { return 0; }
    } receiver;
    osTimer timer{&receiver, 50};
};

/// Threads that come and go.
void* comingAndGoing(void* /*nothing*/)
{
    for (;;) {
        const stress::LayerThread brief([] {});
    }
}

void useEverything()
{
    (new osTimerThread)->start();
    auto* const work = new Work;
    Threader threader;
    for (int thread = 0; thread < 3; ++thread) {
        unsigned long id = 0;
        threader.spawn(&id, work, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    }
    unsigned long id = 0;
    threader.spawn(&id, comingAndGoing, nullptr, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
}

/// Runs a busy process that ends in one of the ways; returns its status.
int endOfABusyProcess(int way, unsigned int seed)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        Dice dice(seed);
        useEverything();
        storms::waitUpTo(dice, 3000);
        switch (way) {
        case 0:
            std::exit(0);
        case 1:
            _exit(0);
        default:
            support::exitInAForkedChild(30);
        }
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

} // namespace

using EndingsStorm = storms::Storm;

TEST_F(EndingsStorm, processesEndAtAnyMoment)
{
    if (stress::UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "the sanitizer takes threads that run at the end of a process for lost";
    }
    const int processes = times(60, 3000);
    for (int number = 0; number < processes; ++number) {
        ASSERT_EQ(0, endOfABusyProcess(number % 3, static_cast<unsigned int>(number)))
            << "way " << number % 3 << ", number " << number;
    }
    say(std::to_string(processes) +
        " busy processes ended by exit, by _exit, and in a forked child");
}
