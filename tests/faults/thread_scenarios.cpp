// Threads, waits, timers, timed threads.
#include <gpal/gpal.h>

#include <memory>

#include "faults/call_table.h"
#include "faults/injector.h"
#include "faults/scenario.h"

namespace faults
{
namespace
{

/// Longer than what is waited for takes, in the scenario's own hasty time.
constexpr int LONG_MS = 5000 * HASTE;

/// The id of a thread that is joined at the latest at the end of a scope.
class Joined
{
public:
    Joined() = default;
    Joined(const Joined&) = delete;
    Joined& operator=(const Joined&) = delete;
    ~Joined()
    {
        const NotCancelled untilJoined;
        join();
    }

    bool join()
    {
        const int result = m_id == 0 ? 0 : Threader().waitForThreadCompletion(m_id);
        m_id = 0;
        return result == 0;
    }
    unsigned long* operator&() { return &m_id; } // NOLINT(google-runtime-operator)
    bool isThere() const { return m_id != 0; }

private:
    unsigned long m_id = 0;
};

/// A body that gives a unit and signals.
class Giver : public Threadable
{
public:
    explicit Giver(Semaphore& units) : m_units(units) {}
    void run() override { m_units.give(); }
    int getThreadPriorityForPlatform() override { return GPAL_THREAD_PRIORITY_LOW; }

private:
    Semaphore& m_units;
};

class LongNamedGiver : public Giver
{
public:
    using Giver::Giver;
    std::string type() override { return "a type that is too long for a string's own room"; }
};

void* signalling(void* event)
{
    return reinterpret_cast<void*>(static_cast<long>(static_cast<Wait*>(event)->signal()));
}

template <typename Body>
bool spawnAndJoin(const char* name)
{
    Semaphore units(0, -1, false);
    Wait event;
    Body giver(units);
    Joined first;
    Joined second;
    Threader threader;
    threader.spawn(&first, &giver, "giver", GPAL_THREAD_PRIORITY_LOW, 0);
    const bool firstIsThere = first.isThere() && giver.threadId() != 0;
    threader.spawn(&second, signalling, &event, name, GPAL_THREAD_PRIORITY_LOW, 0);
    const bool secondIsThere = second.isThere();
    const bool joined = first.join() && second.join();
    return firstIsThere && secondIsThere && joined && units.take(0) == Semaphore::AVAILABLE &&
           event.wait(0) == Semaphore::AVAILABLE;
}

bool spawnAndJoin(const Place& /*place*/)
{
    return spawnAndJoin<Giver>("short");
}

bool spawnWithALongName(const Place& /*place*/)
{
    return spawnAndJoin<LongNamedGiver>("a name that is too long for a string's own room");
}

/// A thread of the layer is struck in what it does, and in its end.
class Worker : public Threadable
{
public:
    Worker(Semaphore& lock, Wait& event) : m_lock(lock), m_event(event) {}
    void run() override
    {
        cancelMe();
        if (m_lock.take(LONG_MS) == Semaphore::AVAILABLE) {
            GPALSleep().milliSleep(1);
            m_event.wait(1);
            m_lock.give();
        }
        Threader().protectFromDestroy();
        m_event.signal();
        Threader().unProtectFromDestroy();
    }

private:
    Semaphore& m_lock;
    Wait& m_event;
};

bool insideAThread(const Place& /*place*/)
{
    Semaphore lock(1, 1, false);
    Wait event;
    Worker worker(lock, event);
    Joined thread;
    Threader().spawn(&thread, &worker, "worker", GPAL_THREAD_PRIORITY_NORMAL, 0);
    const bool isThere = thread.isThere();
    const bool joined = thread.join();
    return isThere && joined && event.wait(0) == Semaphore::AVAILABLE &&
           lock.take(0) == Semaphore::AVAILABLE && lock.give() == 1;
}

bool takeWithTimeOut(const Place& /*place*/)
{
    Semaphore units(0, 2, false);
    Semaphore reentrant(1, 1, true);
    const auto event = std::make_unique<Wait>();
    Giver giver(units);
    Joined thread;
    const bool timedOut =
        units.take(2) == Semaphore::NOT_AVAILABLE && event->wait(2) == Semaphore::NOT_AVAILABLE;
    Threader().spawn(&thread, &giver, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    const bool taken = thread.isThere() && units.take(LONG_MS) == Semaphore::AVAILABLE;
    event->signal();
    const bool signalled = event->wait(-1) == Semaphore::AVAILABLE;
    {
        const CriticalSection outer(reentrant);
        const CriticalSection inner(reentrant);
        Semaphore::info(nullptr);
    }
    GPALMutex mutex(GPAL_MUTEX_LOCKED);
    mutex.give();
    return timedOut && taken && signalled && reentrant.take(0) == Semaphore::AVAILABLE;
}

class Receiver : public timeAble
{
public:
    int timerExpired(osTimerIfc* /*timer*/) override { return expired.signal(); }
    Wait expired;
};

bool armAndExpire(const Place& /*place*/)
{
    osTimerThread monitor;
    Receiver receiver;
    osTimer timer(&receiver, 50);
    osTimer other(&receiver, 60000);
    monitor.start();
    bool well = timer.start() && other.start() && other.isRunning();
    well = receiver.expired.wait(LONG_MS) == Semaphore::AVAILABLE && well;
    well = other.reset() && well;
    well = other.stop() && well;
    return well && !other.isRunning();
}

bool posixTimer(const Place& /*place*/)
{
    Receiver receiver;
    osPOSIXTimer timer(&receiver, 60000, nullptr);
    const bool well = timer.start() && timer.reset() && timer.stop();
    timer.timerEvent();
    return well && receiver.expired.wait(0) == Semaphore::AVAILABLE;
}

class Runner : public RunnerIfc
{
public:
    void run() override { GPALSleep().milliSleep(m_ms); }
    explicit Runner(int ms) : m_ms(ms) {}

private:
    int m_ms;
};

bool timedThreads(const Place& /*place*/)
{
    TimedThreadFactory factory;
    Runner quick(0);
    Runner slow(LONG_MS);
    // A client's own list of what it has to give back.
    struct Given {
        TimedThreadFactory& factory;
        TimedThreadIfc* timedThread;
        ~Given()
        {
            const NotCancelled untilGiven;
            factory.deleteTimedThread(timedThread);
        }
    };
    const Given first{factory, factory.getNewTimedThread(&quick)};
    const Given second{factory, factory.getNewTimedThread(&slow)};
    const bool done = first.timedThread->runForAMaximumOf(LONG_MS / 10) == Semaphore::AVAILABLE;
    const bool late = second.timedThread->runForAMaximumOf(50) == Semaphore::NOT_AVAILABLE;
    return done && late && factory.killAllTimedThread();
}

} // namespace

const std::vector<Scenario> THREAD_SCENARIOS{
    {"spawn and join", spawnAndJoin},
    {"spawn with a long name", spawnWithALongName},
    {"inside a thread", insideAThread},
    {"take with time-out", takeWithTimeOut},
    {"arm and expire", armAndExpire},
    {"POSIX timer", posixTimer, [](const Place&) {}, [](const Place&) {}, 1},
    {"timed threads", timedThreads},
};

} // namespace faults
