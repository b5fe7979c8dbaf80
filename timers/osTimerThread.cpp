#include <gpal/osTimerThread.h>

#include <algorithm>
#include <typeinfo>

#include <gpal/osThreadBasedTimer.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/Threader.h>

#include "base/cancellation.h"
#include "base/console.h"
#include "base/locked.h"
#include "base/time_math.h"
#include "cancelled.h"
#include "timers/EndlessWait.h"
#include "timers/TimerList.h"

using namespace gpal::detail;

namespace
{

timespec timeOn(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return time;
}

/// Wall-clock minus monotonic time at the last wake-up of a monitor, process-wide.
timespec clockOffset{};
/// Guards clockOffset between monitors; no other lock is taken inside.
pthread_mutex_t clockOffsetMutex = PTHREAD_MUTEX_INITIALIZER;

/// Stores the offset of now and returns the one before.
timespec exchangeClockOffset(const timespec& offset)
{
    return locked(clockOffsetMutex, [&offset] {
        const timespec before = clockOffset;
        clockOffset = offset;
        return before;
    });
}

/// Tells the maintainer at the console when the wall clock was set by two whole seconds or more.
void reportClockJump(const timespec& before, const timespec& now)
{
    constexpr time_t REPORTED_SECONDS = 2;
    const bool back = isEarlier(now, before);
    const timespec jump = back ? difference(before, now) : difference(now, before);
    if (jump.tv_sec >= REPORTED_SECONDS) {
        printToConsole("%s( %ld ) secs\n", back ? "Time back   " : "Time forward",
                       static_cast<long>(jump.tv_sec));
    }
}

} // namespace

osTimerThread::osTimerThread()
    : m_timers(std::make_unique<TimerList>()),
      m_now{},
      m_deadline{},
      m_thread(0),
      m_stopping(0),
      m_started(std::make_unique<Semaphore>(0, 1, false))
{
    pthread_mutex_init(&m_mutex, nullptr);
    pthread_cond_init(&m_condition, nullptr);
    osThreadBasedTimer::m_timerManager = this;
}

osTimerThread::~osTimerThread()
{
    const CancellationHeldOff untilJoined;
    m_stopping = 1;
    locked(m_mutex, [this] {
        m_timers->clear();
        pthread_cond_signal(&m_condition);
    });
    if (m_thread != 0) {
        waitForThreadCompletion();
    }
    pthread_mutex_destroy(&m_mutex);
    // Otherwise this is a forked child, or the thread was cancelled: to destroy a condition is to
    // wait for those who wait for it, and it holds nothing that has to be freed.
    if (!m_timers->isWaitedFor()) {
        pthread_cond_destroy(&m_condition);
    }
}

void osTimerThread::start()
{
    if (m_thread != 0) {
        return;
    }
    Threader threader;
    threader.spawn(&m_thread, this, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    m_started->take(-1);
}

bool osTimerThread::add(osThreadBasedTimer* timer)
{
    if (timer == nullptr) {
        return false;
    }
    reportIfCallback(timer);
    return locked(m_mutex, [this, timer] {
        const bool added = m_timers->add(timer);
        pthread_cond_signal(&m_condition);
        return added;
    });
}

bool osTimerThread::remove(osThreadBasedTimer* timer)
{
    reportIfCallback(timer);
    return locked(m_mutex, [this, timer] {
        const bool removed = remove_locked(timer);
        if (removed) {
            pthread_cond_signal(&m_condition);
        }
        return removed;
    });
}

void osTimerThread::reportIfCallback(const osThreadBasedTimer* timer) const
{
    if (m_timers->isServedBy(pthread_self())) {
        reportEndlessWait(timer != nullptr ? timer->id() : -1);
    }
}

bool osTimerThread::remove_locked(osThreadBasedTimer* timer)
{
    return m_timers->remove(timer);
}

int osTimerThread::numItems() const
{
    return m_timers->size();
}

unsigned long osTimerThread::myThread() const
{
    return m_thread;
}

int osTimerThread::getThreadPriorityForPlatform()
{
    return GPAL_THREAD_PRIORITY_TIMER;
}

std::string osTimerThread::type()
{
    return ProcessTypeString::OS_TIMER_THREAD;
}

void osTimerThread::run()
{
    locked(m_mutex, [this] {
        m_now = timeOn(CLOCK_MONOTONIC);
        m_deadline = timeOn(CLOCK_REALTIME);
        exchangeClockOffset(difference(m_deadline, m_now));
        m_started->give();
        // Whoever was cancelled in start may have destroyed the monitor before the list was locked
        // here: that signal has been missed.
        while (m_stopping == 0 && !monitor()) {
        }
        m_timers->slack().makeUsual();
    });
}

bool osTimerThread::monitor()
{
    waitForWork();
    if (m_stopping != 0) {
        return true;
    }
    m_now = timeOn(CLOCK_MONOTONIC);
    const timespec wall = timeOn(CLOCK_REALTIME);
    const timespec offset = difference(wall, m_now);
    reportClockJump(exchangeClockOffset(offset), offset);

    m_deadline = {0, 0};
    serveTimers();
    // Kept, since callers rely on when their timers expire: an expiry on a whole second is not made
    // relative, so its timer waits for the next add, remove or other wake-up.
    if (m_deadline.tv_sec != 0 && m_deadline.tv_nsec != 0) {
        m_deadline = difference(m_deadline, m_now);
    }
    m_deadline = sum(m_deadline, wall);
    return false;
}

/// Any wake-up will do: an added or removed timer, the deadline, a spurious one.
void osTimerThread::waitForWork()
{
    m_timers->setWaitedFor(true);
    if (m_timers->size() > 0) {
        m_timers->slack().makeLeast();
        timedWait(m_condition, m_mutex, m_deadline);
    } else {
        pthread_cond_wait(&m_condition, &m_mutex);
    }
    m_timers->setWaitedFor(false);
}

/// Calls back what is due, newest first, and collects the earliest expiry of the rest. Going
/// backwards, dropping the current timer moves only those that were visited already. A callback may
/// have dropped others too: no timer behind those is missed, some are asked twice.
void osTimerThread::serveTimers()
{
    const TimerList::Serving serving(*m_timers);
    const DestroyedIfCancelled whenCancelled(serving);
    for (int index = m_timers->size(); index > 0; index = std::min(index, m_timers->size())) {
        --index;
        TimerList::Entry& entry = (*m_timers)[index];
        if (isEarlier(m_now, entry.notDueBefore)) {
            keepEarliest(m_deadline, entry.notDueBefore);
            continue;
        }
        osThreadBasedTimer* timer = entry.timer;
        if (serve(*timer, entry.notDueBefore)) {
            remove_locked(timer);
        }
    }
}

/// What a class of a client's own does when it is asked is not known before, nor what it starts.
bool osTimerThread::serve(osThreadBasedTimer& timer, timespec& notDueBefore)
{
    TimerSlack& slack = m_timers->slack();
    // By address: classes of clients without run-time type information have none, which is null.
    if (&typeid(timer) != &typeid(osThreadBasedTimer)) {
        slack.makeUsual();
        return timer.timerEvent(&m_now, &m_deadline);
    }
    timespec expiry{};
    if (timer.serve(m_now, expiry, &slack)) {
        return true;
    }
    notDueBefore = expiry;
    keepEarliest(m_deadline, expiry);
    return false;
}
