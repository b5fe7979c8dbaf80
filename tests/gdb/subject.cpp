// What the debugger is let look at: subject SCENE
//
// Sets a scene, calls stopHere() when every thread is where it will stay, and aborts, which leaves
// a core file where one is wanted.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gpal/gpal.h>
#include <iterator>
#include <memory>
#include <pthread.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace scene
{

/// A semaphore or an event that tells when threads are blocked in it.
template <typename Base>
class Observed : public Base
{
public:
    using Base::Base;

    /// Returns when so many threads have gone to sleep in here.
    void awaitBlocked(int threads)
    {
        GPALSleep sleep;
        for (bool asleep = false; !asleep; sleep.milliSleep(1)) {
            pthread_mutex_lock(&this->m_stateMutex); // who is going to sleep still has it
            asleep = this->m_blockedCount == threads;
            pthread_mutex_unlock(&this->m_stateMutex);
        }
    }
};

using Count = Observed<Semaphore>;

class Lock : public Count
{
public:
    Lock() : Count(1, 1, false) {}
};

class Event : public Observed<Wait>
{
};

Lock first;
Lock second;
Lock third;
Event rung;
Semaphore allHaveTaken(0, -1, false);

/// Takes one lock, and the next when all have taken theirs.
class Philosopher : public Threadable
{
public:
    Philosopher(Lock& left, Lock& right, Semaphore& go, int timeoutMs = -1)
        : m_left(left), m_right(right), m_go(go), m_timeoutMs(timeoutMs)
    {
    }

    void run() override
    {
        m_left.take(-1);
        allHaveTaken.give();
        m_go.take(-1);
        m_right.take(m_timeoutMs);
    }
    int getThreadPriorityForPlatform() override { return GPAL_THREAD_PRIORITY_HIGH; }
    std::string type() override { return "philosopher"; }

private:
    Lock& m_left;
    Lock& m_right;
    Semaphore& m_go;
    int m_timeoutMs;
};

/// Waits for the event.
class Listener : public Threadable
{
public:
    void run() override { rung.wait(600000); }
};

class Ticker : public timeAble
{
public:
    int timerExpired(osTimerIfc* /*timer*/) override { return 0; }
};

/// Its level is not always the same one.
class Undecided : public Listener
{
public:
    std::string type() override { return "undecided"; }
    int getThreadPriorityForPlatform() override
    {
        return m_urgent ? GPAL_THREAD_PRIORITY_VOICE : GPAL_THREAD_PRIORITY_LOW;
    }

private:
    volatile bool m_urgent = false;
};

void* takeSecond(void*)
{
    second.take(-1);
    return nullptr;
}

void* sleepLong(void*)
{
    allHaveTaken.give();
    GPALSleep sleep;
    sleep.secSleep(600);
    return nullptr;
}

__attribute__((noinline)) void stopHere()
{
    asm volatile("");
}

/// What the kernel says of the threads beside this one; "" if one of them runs.
std::string sleepOfOthers()
{
    std::string all;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        if (thread.path().filename() != std::to_string(getpid())) {
            std::ifstream file(thread.path() / "status");
            const std::string text{std::istreambuf_iterator<char>(file), {}};
            if (text.find("\nState:\tS") == std::string::npos) {
                return "";
            }
            all += text;
        }
    }
    return all;
}

/// Until every other thread sleeps, and does not wake up again.
void waitForOthers()
{
    std::string before;
    for (std::string now; now.empty() || now != before; now = sleepOfOthers()) {
        before = now;
        GPALSleep().milliSleep(30);
    }
}

Threader threader;

void spawn(Threadable& body)
{
    unsigned long id = 0;
    threader.spawn(&id, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
}

void spawn(void* (*function)(void*), const char* name, GPALThreadPriority level)
{
    unsigned long id = 0;
    threader.spawn(&id, function, nullptr, name, level, 0);
}

void end()
{
    stopHere();
    std::abort();
}

/// A lock with an owner and waiting threads, an event, sleepers, of every kind of thread.
void threads()
{
    second.take(-1);
    Listener listener;
    Undecided undecided;
    spawn(listener);
    spawn(undecided);
    spawn(takeSecond, "ring_tone", GPAL_THREAD_PRIORITY_VOICE);
    spawn(takeSecond, "", GPAL_THREAD_PRIORITY_LOW);
    spawn(sleepLong, "sleeper", GPAL_THREAD_PRIORITY_NORMAL);
    rung.awaitBlocked(2);
    second.awaitBlocked(2);
    allHaveTaken.take(-1);
    waitForOthers();
    end();
}

/// Threads in a circle, each with the lock that the one before wants.
void deadlock(const std::vector<Lock*>& locks, int timeoutMs)
{
    Count go(0, -1, false);
    std::vector<std::unique_ptr<Philosopher>> bodies;
    for (std::size_t i = 0; i < locks.size(); ++i) {
        Lock& right = *locks[(i + 1) % locks.size()];
        bodies.push_back(std::make_unique<Philosopher>(*locks[i], right, go, timeoutMs));
        spawn(*bodies.back());
        allHaveTaken.take(-1);
    }
    go.awaitBlocked(static_cast<int>(locks.size()));
    for (std::size_t i = 0; i < locks.size(); ++i) {
        go.give();
    }
    for (Lock* lock : locks) {
        lock->awaitBlocked(1);
    }
    end();
}

/// A thread that is cancelled in its take, and one more that gets its id.
void cancelledWaiter()
{
    first.take(-1);
    unsigned long id = 0;
    void* (*take)(void*) = [](void*) -> void* {
        first.take(-1);
        return nullptr;
    };
    threader.spawn(&id, take, nullptr, "cancelled", GPAL_THREAD_PRIORITY_NORMAL, 0);
    first.awaitBlocked(1);
    threader.destroy(id);
    threader.waitForThreadCompletion(id);
    Listener listener;
    spawn(listener);
    rung.awaitBlocked(1);
    end();
}

/// An owner that is no more: not a thread of the layer, whose end nobody notes.
void lostOwner()
{
    pthread_t thread{};
    pthread_create(
        &thread, nullptr,
        [](void*) -> void* {
            first.take(-1);
            return nullptr;
        },
        nullptr);
    pthread_join(thread, nullptr);
    end();
}

/// Waits for what others give it, and has been given some: it is the last to have taken there.
class Consumer : public Threadable
{
public:
    explicit Consumer(Semaphore& supply) : m_supply(supply) {}
    void run() override
    {
        m_supply.take(-1);
        m_supply.take(-1);
    }

private:
    Semaphore& m_supply;
};

void consumers()
{
    Count signal(0, 1, false);
    signal.give();
    Count queue(0, -1, false);
    queue.give();
    Consumer ofSignals(signal);
    Consumer ofQueue(queue);
    spawn(ofSignals);
    signal.awaitBlocked(1);
    spawn(ofQueue);
    queue.awaitBlocked(1);
    end();
}

void timers()
{
    osTimerThread monitor;
    monitor.start();
    Ticker ticker;
    osTimer later(&ticker, 600000);
    osTimer sooner(&ticker, 60000);
    osTimer nobody(nullptr, 90000);
    osTimer idle(&ticker, 1000);
    later.start();
    sooner.start();
    nobody.start();
    waitForOthers();
    end();
}

void destroyedMonitor()
{
    {
        osTimerThread monitor;
        monitor.start();
    }
    char overwritten[sizeof(osTimerThread) + 64];
    std::memset(overwritten, 0x7f, sizeof overwritten);
    std::memset(static_cast<void*>(osThreadBasedTimer::m_timerManager), 0x7f,
                sizeof(osTimerThread));
    asm volatile("" : : "r"(overwritten) : "memory");
    end();
}

/// A semaphore over whose list of waiting threads something was written.
void damaged()
{
    struct Broken : Semaphore {
        Broken() : Semaphore(3, 5, false)
        {
            std::memset(static_cast<void*>(&m_waitingThreads), 0x41, sizeof m_waitingThreads);
        }
    };
    static auto* broken = new Broken;
    asm volatile("" : : "r"(broken) : "memory");
    end();
}

struct Scene {
    const char* name;
    void (*set)();
};

const Scene SCENES[] = {
    {"nothing", end},
    {"threads", threads},
    {"deadlock-1", [] { deadlock({&first}, -1); }},
    {"deadlock-2",
     [] {
         deadlock({&first, &second}, -1);
     }},
    {"deadlock-3",
     [] {
         deadlock({&first, &second, &third}, -1);
     }},
    {"deadlock-limited",
     [] {
         deadlock({&first, &second}, 600000);
     }},
    {"cancelled-waiter", cancelledWaiter},
    {"lost-owner", lostOwner},
    {"consumers", consumers},
    {"timers", timers},
    {"destroyed-monitor", destroyedMonitor},
    {"damaged", damaged},
};

} // namespace scene

int main(int argc, char** argv)
{
    for (const scene::Scene& candidate : scene::SCENES) {
        if (argc == 2 && std::strcmp(argv[1], candidate.name) == 0) {
            candidate.set();
        }
    }
    return 2;
}
