/// \file
/// Does one job as often as it is told: counted_jobs JOB TIMES. Whoever counts the instructions of
/// two such runs knows what the job takes.
#include <cstdlib>
#include <deque>
#include <execinfo.h>
#include <memory>
#include <pthread.h>
#include <semaphore.h>
#include <string>
#include <time.h>
#include <unistd.h>

#include <gpal/backtrace.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <gpal/Semaphore.h>
#include <gpal/Threader.h>

#include "../hand_semaphore.h"
#include "../hand_timers.h"

namespace
{

constexpr int LONG_INTERVAL_MS = 3600000;

void layerTakeGive(int times)
{
    const std::unique_ptr<Semaphore> lock(new Semaphore(1, 1, false));
    for (; times > 0; --times) {
        lock->take(-1);
        lock->give();
    }
}

void handTakeGive(int times)
{
    const std::unique_ptr<hand::Semaphore> lock(new hand::Semaphore(1, 1, false));
    for (; times > 0; --times) {
        lock->take(-1);
        lock->give();
    }
}

void plainTakeGive(int times)
{
    sem_t lock{};
    sem_init(&lock, 0, 1);
    for (; times > 0; --times) {
        sem_wait(&lock);
        sem_post(&lock);
    }
}

void* nothing(void* /*argument*/)
{
    return nullptr;
}

class Nothing : public Threadable
{
public:
    void run() override {}
};

void layerSpawnJoinThreadable(int times)
{
    const std::unique_ptr<ThreaderIfc> threader(ThreaderFactory().createNewThreader());
    Nothing body;
    for (; times > 0; --times) {
        unsigned long thread = 0;
        threader->spawn(&thread, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
        threader->waitForThreadCompletion(thread);
    }
}

void layerSpawnJoinFunction(int times)
{
    const std::unique_ptr<Threader> threader(new Threader);
    for (; times > 0; --times) {
        unsigned long thread = 0;
        threader->spawn(&thread, nothing, nullptr, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
        threader->waitForThreadCompletion(thread);
    }
}

void plainSpawnJoin(int times)
{
    for (; times > 0; --times) {
        pthread_t thread{};
        pthread_create(&thread, nullptr, nothing, nullptr);
        pthread_join(thread, nullptr);
    }
}

class Nobody : public timeAble
{
public:
    int timerExpired(osTimerIfc* /*timer*/) override { return 0; }
};

/// Long enough for the monitor to have made its pass and to sleep again, so that each wake-up leads
/// to one pass and no fewer.
void letTheMonitorSleep()
{
    constexpr timespec PAUSE{0, 10000000};
    nanosleep(&PAUSE, nullptr);
}

template <typename Timer>
void armDisarm(std::deque<Timer>& timers, int times)
{
    for (Timer& timer : timers) {
        timer.start();
    }
    letTheMonitorSleep();
    timers.back().stop();
    letTheMonitorSleep();
    for (; times > 0; --times) {
        timers.back().start();
        letTheMonitorSleep();
        timers.back().stop();
        letTheMonitorSleep();
    }
}

template <int OTHERS>
void layerArmDisarm(int times)
{
    (new osTimerThread)->start();
    Nobody nobody;
    std::deque<osTimer> timers;
    while (timers.size() <= OTHERS) {
        timers.emplace_back(&nobody, LONG_INTERVAL_MS);
    }
    armDisarm(timers, times);
}

template <int OTHERS>
void handArmDisarm(int times)
{
    auto* monitor = new hand::TimerMonitor;
    std::deque<hand::Timer> timers;
    while (timers.size() <= OTHERS) {
        timers.emplace_back(*monitor, LONG_INTERVAL_MS, [] {});
    }
    armDisarm(timers, times);
}

} // namespace

constexpr int FRAMES = 20;
using Record = int (*)(void**, int);

/// Walks need a name for each function on their way.
template <int DEPTH>
__attribute__((noinline)) void recordInFrame(Record recorded, int times)
{
    if constexpr (DEPTH > 0) {
        recordInFrame<DEPTH - 1>(recorded, times);
    } else {
        void* frames[FRAMES];
        for (; times > 0; --times) {
            if (recorded(frames, FRAMES) != FRAMES) {
                std::abort();
            }
        }
    }
    __asm__ volatile("" ::: "memory"); // a call in the place of a return leaves no frame
}

namespace
{

void layerWalk(int times)
{
    recordInFrame<FRAMES>(get_backtrace, times);
}

void plainWalk(int times)
{
    recordInFrame<FRAMES>(backtrace, times);
}

struct Job {
    const char* name;
    void (*done)(int times);
};

constexpr Job JOBS[] = {
    {"takeGive/layer", layerTakeGive},
    {"takeGive/plain", plainTakeGive},
    {"takeGive/hand", handTakeGive},
    {"spawnJoin/threadable", layerSpawnJoinThreadable},
    {"spawnJoin/function", layerSpawnJoinFunction},
    {"spawnJoin/plain", plainSpawnJoin},
    {"armDisarm/layer/0", layerArmDisarm<0>},
    {"armDisarm/hand/0", handArmDisarm<0>},
    {"armDisarm/layer/10", layerArmDisarm<10>},
    {"armDisarm/hand/10", handArmDisarm<10>},
    {"walk20/layer", layerWalk},
    {"walk20/plain", plainWalk},
};

} // namespace

int main(int count, char** arguments)
{
    const std::string wanted = count == 3 ? arguments[1] : "";
    for (const Job& job : JOBS) {
        if (wanted == job.name) {
            job.done(std::atoi(arguments[2]));
            _exit(0);
        }
    }
    return 2;
}
