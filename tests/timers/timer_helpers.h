/// \file
/// Receivers, monitors and patience for the timers' tests.
#ifndef GPAL_TESTS_TIMERS_TIMER_HELPERS_H
#define GPAL_TESTS_TIMERS_TIMER_HELPERS_H

#include <atomic>
#include <functional>
#include <mutex>
#include <pthread.h>
#include <string>
#include <time.h>
#include <vector>

#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>

namespace timertest
{

/// As `support::eventually`, but on the machine's own clock: the clocks that the program sees may
/// be standing still.
bool soon(const std::function<bool()>& condition);

/// Time enough for a thread that isn't held up to go past a point, given to one that must not.
void allowForMistakes();

/// "11.030000000".
std::string text(const timespec& time);

/// "1.500000000 every 0.000000000".
std::string text(const itimerspec& setting);

/// Stands in for an owner; only its address counts.
class Owner : public osTimerIfc
{
public:
    int init(timeAble*, int) override { return 0; }
    bool start() override { return false; }
    bool stop() override { return false; }
    bool isRunning() override { return false; }
    bool reset() override { return false; }
    int id() override { return 0; }
};

/// Remembers its callbacks, in order.
class Receiver : public timeAble
{
public:
    int timerExpired(osTimerIfc* timer) override;

    std::vector<osTimerIfc*> owners() const;
    int calls() const { return static_cast<int>(owners().size()); }
    pthread_t lastThread() const;

    std::function<void(osTimerIfc*)> m_during; ///< runs inside each callback; set before arming
    int m_result = 0;

private:
    mutable std::mutex m_mutex;
    std::vector<osTimerIfc*> m_owners;
    pthread_t m_lastThread{};
};

/// Where a callback stands still until the test lets it go on.
class Gate
{
public:
    void enter();
    bool isOccupied() const { return m_occupied; }
    void open() { m_open = true; }

private:
    std::atomic<bool> m_occupied{false};
    std::atomic<bool> m_open{false};
};

/// A monitor whose thread can be told from others, and which tells when its thread has left it.
class Monitor : public osTimerThread
{
public:
    void run() override;
    bool hasEnded() const { return m_ended; }

    /// Whether the caller is the thread of a monitor.
    static bool isCurrentThread();

private:
    std::atomic<bool> m_ended{false};
};

/// Runs \p body on a thread of its own that has been asked to end already, up to the end of which
/// it does not notice; returns whether the body was left by its end and the thread by cancellation.
bool completesWhenCancelled(const std::function<void()>& body);

} // namespace timertest

#endif
