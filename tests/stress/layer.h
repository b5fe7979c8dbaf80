/// \file
/// What the stress tests share: threads of the layer that can be cancelled, the figures in a
/// semaphore's dump, a manager that counts, and the check that a newcomer can still use everything.
#ifndef GPAL_TESTS_STRESS_LAYER_H
#define GPAL_TESTS_STRESS_LAYER_H

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include <gpal/gpal.h>
#include <gtest/gtest.h>

#include "support/layer_threads.h"
#include "support/replaceable.h"
#include "support/thread_sanitizer.h"

namespace stress
{

using support::LayerThread;
using support::UNDER_THREAD_SANITIZER;

/// Whether the C library runs the destructors of a thread that is cancelled in `pthread_join`,
/// which one for the device's processor does not; tried out once, by a thread that nobody cancels.
bool unwindsOutOfJoin();

/// Counts the threads that come and go, and grants every priority.
class RecordingManager : public ProcessManager
{
public:
    RecordingManager();

    int addThread(Threadable& thread, int threadId) override;
    int addThread(int threadId, std::string name) override;
    int removeThread(int threadId) override;
    int requestNewPriority(int threadId, GPALThreadPriority priority) override;

    int added() const { return m_added; }
    int removed() const { return m_removed; }
    /// Removals of a thread other than the calling one, or that was not there.
    int wrongRemovals() const { return m_wrongRemovals; }

    // Run on the thread concerned, after it was counted; set while no other thread runs.
    std::function<void()> whenAdded = [] {};
    std::function<void()> whenRemoved = [] {};
    std::function<void()> whenPriorityRequested = [] {};

private:
    int countAdded();

    std::atomic<int> m_added{0};
    std::atomic<int> m_removed{0};
    std::atomic<int> m_wrongRemovals{0};
};

/// The figures in the dump of a semaphore or an event object; 0 for a line that it does not have.
struct Figures {
    int count;
    unsigned long owner;
    int gives;
    int takes;
    int timeouts;
    int waiting;
};
Figures figuresOf(Semaphore& semaphore);

/// Number of entries in a directory.
int entriesIn(const char* directory);

/// Number of threads of the process, down to those that are on their last instructions.
int threadsInUse();

/// Waits until that many threads wait for the semaphore.
void awaitWaiting(Semaphore& semaphore, int threads);

/// Counts expiries.
class CountingReceiver : public timeAble
{
public:
    int timerExpired(osTimerIfc* timer) override;
    int expiries() const { return m_expiries; }

private:
    std::atomic<int> m_expiries{0};
};

/// Keeps the monitor inside the callback until it is let go.
class HoldingReceiver : public timeAble
{
public:
    int timerExpired(osTimerIfc* timer) override;
    void awaitCall();
    void letGo();

private:
    Wait m_called;
    Wait m_letGo;
};

/// Semaphores, events, threads and dumps do what they should for somebody who comes new.
void expectNewcomersAreServed();

/// So do timers, with the monitor in force.
void expectNewTimersAreServed();

/// Stands in for the C library's sleeping under the thread sanitizer, which loses track of a thread
/// that is cancelled in there but not of one that is cancelled in the wait for a condition.
class WatchedSleep
{
public:
    WatchedSleep();

private:
    support::Replacement<int(const timespec*, timespec*)> m_nanosleep;
    support::Replacement<unsigned int(unsigned int)> m_sleep;
};

/// A test with a counting manager in force. Ends the program when the test hangs. Afterwards, every
/// thread that was announced has been removed.
class LayerTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    RecordingManager& manager() { return *m_manager; }

private:
    RecordingManager* m_manager = nullptr; ///< owned by the layer
    std::optional<WatchedSleep> m_watchedSleep;
};

/// With a monitor besides, which the test starts.
class MonitorTest : public LayerTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    std::unique_ptr<osTimerThread> m_monitor;
};

/// Work that sleeps until it is let go, and can be cancelled or not.
class HeldWork : public RunnerIfc
{
public:
    explicit HeldWork(bool cancellable) : m_cancellable(cancellable) {}

    void run() override
    {
        if (!m_cancellable) {
            Threader::protectFromDestroy();
        }
        m_started.signal();
        m_letGo.wait();
    }

    void awaitStart() { m_started.wait(); }
    void letGo() { m_letGo.signal(); }

private:
    bool m_cancellable;
    Wait m_started;
    Wait m_letGo;
};

} // namespace stress

#endif
