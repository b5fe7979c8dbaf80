#include <array>
#include <atomic>
#include <chrono>
#include <iostream>
#include <memory>
#include <random>
#include <streambuf>
#include <thread>
#include <vector>

#include "stress/layer.h"
#include "support/heap.h"
#include "support/observed.h"

using stress::CountingReceiver;
using stress::entriesIn;
using stress::LayerThread;
using stress::threadsInUse;
using support::eventually;

namespace
{

constexpr int WORKERS = 16;
constexpr int UNITS = 4;

// Sanitizers keep what was freed and what was accessed; the leak sanitizer does the looking then.
#ifdef __SANITIZE_ADDRESS__
constexpr bool MEMORY_TELLS = false;
#else
constexpr bool MEMORY_TELLS = !stress::UNDER_THREAD_SANITIZER;
#endif

/// Takes what is written and forgets it.
class Nowhere : public std::streambuf
{
protected:
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }
    int overflow(int character) override { return character; }
};

/// Sends the dumps nowhere; what the test has to say still gets out.
class Muted
{
public:
    Muted() : m_saved(std::cout.rdbuf(&m_nowhere)) {}
    Muted(const Muted&) = delete;
    Muted& operator=(const Muted&) = delete;
    ~Muted() { std::cout.rdbuf(m_saved); }

private:
    Nowhere m_nowhere;
    std::streambuf* m_saved;
};

/// What the heap holds; the pages of the process would count an emulator's too.
long kilobytesInUse()
{
    const support::HeapInUse heap = support::heapInUse();
    return static_cast<long>((heap.inArena + heap.mapped) / 1024);
}

/// What all workers use, and the gate at which they stop for a while.
struct Shared {
    Semaphore lock{1, 1, false};
    Semaphore reentrant{1, 1, true};
    int guardedByLock = 0;
    int guardedByReentrant = 0;
    Semaphore units{UNITS, UNITS, false};
    std::atomic<int> unitsInUse{0};
    std::array<Wait, WORKERS> inboxes;
    CountingReceiver receiver;
    std::array<osTimer, 4> timers{
        {{&receiver, 50}, {&receiver, 60}, {&receiver, 0}, {nullptr, 50}}};
    osTimerThread* monitor = nullptr;
    TimedThreadFactory factory;

    std::atomic<bool> gateClosed{false};
    std::atomic<bool> over{false};
    Semaphore arrived{0, -1, false};
    // One for each: who comes while others still wait can't have a unit that was given before, so
    // that a worker which is late at a common gate would stand there for good.
    std::array<Wait, WORKERS> mayGoOn;
};

void* takeAndLeave(void* lock)
{
    static_cast<Semaphore*>(lock)->take(0); // given back by the thread's clean-up
    return nullptr;
}

class ShortWork : public RunnerIfc
{
public:
    void run() override { GPALSleep().milliSleep(1); }
};

class Worker
{
public:
    Worker(Shared& shared, std::size_t number)
        : m_shared(shared),
          m_number(number),
          m_dice(static_cast<unsigned int>(number) + 1),
          m_thread([this] { work(); })
    {
    }

    int turns() const { return m_turns; }

private:
    void work()
    {
        while (!m_shared.over) {
            doSomething();
            ++m_turns;
            if (m_shared.gateClosed) {
                m_shared.arrived.give();
                m_shared.mayGoOn[m_number].wait(-1);
            }
        }
    }

    void doSomething()
    {
        switch (m_dice() % 11) {
        case 0:
            return useLocks();
        case 1:
            return useUnits();
        case 2:
            return sendAndReceive();
        case 3:
            return useSharedTimer();
        case 4:
            return useOwnTimer();
        case 5:
            return spawnFunctions();
        case 6:
            return spawnAndCancel();
        case 7:
            return runTimedWork();
        case 8:
            return useCSemaphore();
        case 9:
            return lookAround();
        default:
            GPALSleep().milliSleep(1);
        }
    }

    void useLocks()
    {
        const CriticalSection section(m_shared.lock);
        m_shared.guardedByLock += 1;
        EXPECT_EQ(m_shared.lock.take(0), Semaphore::NOT_AVAILABLE);
        const CriticalSection outer(m_shared.reentrant);
        const CriticalSection inner(m_shared.reentrant);
        m_shared.guardedByReentrant += 1;
    }

    void useUnits()
    {
        if (m_shared.units.take(static_cast<int>(m_dice() % 6)) == Semaphore::AVAILABLE) {
            EXPECT_LE(++m_shared.unitsInUse, UNITS);
            std::this_thread::yield();
            --m_shared.unitsInUse;
            m_shared.units.give();
        }
    }

    void sendAndReceive()
    {
        m_shared.inboxes[(m_number + 1) % WORKERS].signal();
        m_shared.inboxes[m_number].wait(2);
    }

    void useSharedTimer()
    {
        osTimer& timer = m_shared.timers[m_dice() % m_shared.timers.size()];
        switch (m_dice() % 6) {
        case 0:
            timer.stop();
            return;
        case 1:
            EXPECT_TRUE(timer.reset());
            return;
        case 2:
            timer.isRunning();
            return;
        case 3:
            EXPECT_NE(timer.init(&m_shared.receiver, 50), 0);
            return;
        default:
            EXPECT_TRUE(timer.start());
        }
    }

    void useOwnTimer()
    {
        CountingReceiver receiver;
        const std::unique_ptr<osTimerIfc> timer(OSTimerFactory().getTimer());
        EXPECT_EQ(timer->id(), -1);
        timer->init(&receiver, 50);
        timer->start();
        if (m_dice() % 4 == 0) {
            GPALSleep().milliSleep(51);
            EXPECT_TRUE(eventually([&] { return receiver.expiries() == 1; }));
        }
    }

    void spawnFunctions()
    {
        Semaphore lock(1, 1, false);
        unsigned long joined = 0;
        unsigned long detached = 0;
        EXPECT_TRUE(
            m_threader.spawn(&joined, takeAndLeave, &lock, "", GPAL_THREAD_PRIORITY_LOW, 0));
        EXPECT_TRUE(m_threader.spawn(&detached, takeAndLeave, &m_shared.units, "worker's",
                                     GPAL_THREAD_PRIORITY_NORMAL, 0));
        EXPECT_EQ(m_threader.detach(detached), 0);
        EXPECT_EQ(m_threader.waitForThreadCompletion(joined), 0);
        EXPECT_EQ(lock.take(0), Semaphore::AVAILABLE);
    }

    void spawnAndCancel()
    {
        Semaphore owned(1, 1, false);
        Wait never;
        LayerThread thread([&] {
            const CriticalSection section(owned);
            never.wait(-1);
        });
        thread.cancel();
        thread.join();
        EXPECT_FALSE(thread.isFinished());
        EXPECT_EQ(owned.take(0), Semaphore::AVAILABLE);
    }

    void runTimedWork()
    {
        ShortWork work;
        TimedThreadIfc* timed = m_shared.factory.getNewTimedThread(&work);
        timed->runForAMaximumOf(static_cast<int>(m_dice() % 3));
        EXPECT_TRUE(m_shared.factory.deleteTimedThread(timed));
    }

    void useCSemaphore()
    {
        void* counting = new_Semaphore(1, 1);
        void* reentrant = new_RSemaphore(1, 1);
        EXPECT_EQ(take_Semaphore(counting, -1), 1);
        EXPECT_EQ(take_Semaphore(counting, 1), 0);
        EXPECT_EQ(give_Semaphore(counting), 1);
        EXPECT_EQ(take_Semaphore(reentrant, -1), 1);
        EXPECT_EQ(take_Semaphore(reentrant, -1), 1);
        delete_Semaphore(counting);
        delete_Semaphore(reentrant);
    }

    void lookAround()
    {
        Semaphore::info(nullptr);
        EXPECT_GE(m_shared.monitor->numItems(), 0);
        const unsigned long monitor = m_shared.monitor->threadId();
        EXPECT_EQ(monitor, m_shared.monitor->myThread());
        EXPECT_TRUE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_TIMER, monitor));
        EXPECT_TRUE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_NORMAL, 0));
        EXPECT_EQ(Threadable::currentThreadId(), pthread_self());
        for (osTimer& timer : m_shared.timers) {
            EXPECT_NE(timer.id(), 0);
        }
    }

    Shared& m_shared;
    std::size_t m_number;
    std::minstd_rand m_dice;
    Threader m_threader;
    std::atomic<int> m_turns{0};
    LayerThread m_thread; ///< last: it uses all the others
};

using Workers = std::vector<std::unique_ptr<Worker>>;

struct Resources {
    int threads;
    int descriptors;
    long kilobytes;
    std::vector<int> turns;
};

class Endurance : public stress::LayerTest
{
protected:
    /// Lets the workers come to rest, looks at what the process uses and lets them go on.
    Resources resourcesAtRest(Shared& shared, const Workers& workers) const
    {
        shared.gateClosed = true;
        for (int i = 0; i < WORKERS; ++i) {
            shared.arrived.take(-1);
        }
        expectNoNewThreadsBut(WORKERS); // detached ones may be on their last instructions
        EXPECT_TRUE(eventually([&] { return shared.monitor->numItems() == 0; }));
        Resources used{threadsInUse(), entriesIn("/proc/self/fd"), kilobytesInUse(), {}};
        for (const auto& worker : workers) {
            used.turns.push_back(worker->turns());
        }
        shared.gateClosed = false;
        for (Wait& gate : shared.mayGoOn) {
            gate.signal();
        }
        return used;
    }

    void expectNoNewThreadsBut(int threads) const
    {
        const int expected = m_threadsBefore + threads;
        EXPECT_TRUE(eventually([&] { return threadsInUse() == expected; }))
            << threadsInUse() << " threads in place of " << expected;
    }

    int m_threadsBefore = 0;
};

} // namespace

TEST_F(Endurance, ofSixteenThreadsForTenSecondsGrowsNothing)
{
    const Muted console;
    osTimerThread monitor;
    monitor.start();
    m_threadsBefore = threadsInUse();
    Shared shared;
    shared.monitor = &monitor;
    const auto start = std::chrono::steady_clock::now();
    Workers workers;
    workers.reserve(WORKERS);
    for (std::size_t i = 0; i < WORKERS; ++i) {
        workers.push_back(std::make_unique<Worker>(shared, i));
    }
    std::this_thread::sleep_until(start + std::chrono::seconds(1));
    const Resources first = resourcesAtRest(shared, workers);
    std::this_thread::sleep_until(start + std::chrono::seconds(10));
    const Resources last = resourcesAtRest(shared, workers);
    shared.over = true;
    workers.clear();
    expectNoNewThreadsBut(0);

    EXPECT_EQ(last.threads, first.threads);
    EXPECT_EQ(last.descriptors, first.descriptors);
    for (std::size_t i = 0; i < WORKERS; ++i) {
        EXPECT_GT(last.turns[i], first.turns[i]) << "worker " << i << " stands still";
    }
    EXPECT_EQ(shared.guardedByLock, shared.guardedByReentrant);
    EXPECT_EQ(shared.unitsInUse, 0);
    if (MEMORY_TELLS) {
        constexpr long MOST_GROWTH_KILOBYTES = 1024;
        EXPECT_LT(last.kilobytes - first.kilobytes, MOST_GROWTH_KILOBYTES);
    }
    RecordProperty("kilobytesAtFirst", static_cast<int>(first.kilobytes));
    RecordProperty("kilobytesAtLast", static_cast<int>(last.kilobytes));
}
