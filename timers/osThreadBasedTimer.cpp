#include <gpal/osThreadBasedTimer.h>

#include <algorithm>
#include <new>

#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>

#include "base/cancellation.h"
#include "base/time_math.h"
#include "cancelled.h"
#include "timers/EndlessWait.h"
#include "timers/TimerSlack.h"

namespace
{

constexpr int NO_ID = -1;
constexpr int SHORTEST_INTERVAL_MS = 50;
constexpr unsigned int LAST_ID = 0xFFFFFFFF;

/// The counter has no lock, so that init works in a callback; two threads may get the same id.
unsigned int takeNextId(unsigned int& counter)
{
    const unsigned int last = __atomic_load_n(&counter, __ATOMIC_RELAXED);
    const unsigned int next = last == LAST_ID ? 1 : last + 1;
    __atomic_store_n(&counter, next, __ATOMIC_RELAXED);
    return next;
}

} // namespace

namespace gpal::detail
{

/// Holds a timer's lock for a scope, which is no more than a moment unless a client is called. It
/// is waited for with cancellation held off: a thread that was cancelled in there would stay
/// counted as waiting, and nobody could take the lock at once any more, which for a lock is never.
class FieldsLock
{
public:
    FieldsLock(Semaphore& lock, int timerId) : m_lock(lock), m_taken(!lock.enter())
    {
        if (m_taken) {
            if (lock.m_owner == pthread_self()) {
                reportEndlessWait(timerId);
            }
            const CancellationHeldOff whileWaiting;
            m_lock.take(-1);
        }
    }
    FieldsLock(const FieldsLock&) = delete;
    FieldsLock& operator=(const FieldsLock&) = delete;
    ~FieldsLock()
    {
        if (m_taken) {
            m_lock.give();
        } else {
            m_lock.leave();
        }
    }

    /// For more than a moment: others can wait for the lock, and see that it is taken.
    void stay()
    {
        if (!m_taken) {
            m_lock.stay();
            m_taken = true;
        }
    }

private:
    Semaphore& m_lock;
    bool m_taken;
};

} // namespace gpal::detail

using gpal::detail::DestroyedIfCancelled;
using gpal::detail::FieldsLock;

unsigned int osThreadBasedTimer::nextID = 0;
osTimerThread* osThreadBasedTimer::m_timerManager = nullptr;

osThreadBasedTimer::osThreadBasedTimer()
    : m_id(NO_ID),
      m_lock(1, 1, false),
      m_callback(nullptr),
      m_running(false),
      m_intervalMs(SHORTEST_INTERVAL_MS),
      m_expiry{},
      m_owner(nullptr)
{
}

osThreadBasedTimer::osThreadBasedTimer(timeAble* callback, int intervalMs, osTimerIfc* owner)
    : osThreadBasedTimer()
{
    init(callback, intervalMs, owner);
}

osThreadBasedTimer::~osThreadBasedTimer()
{
    stop();
}

int osThreadBasedTimer::init(timeAble* callback, int intervalMs, osTimerIfc* owner)
{
    m_callback = callback;
    m_owner = owner;
    setRunning(false);
    m_intervalMs = std::max(intervalMs, SHORTEST_INTERVAL_MS);
    m_id = static_cast<int>(takeNextId(nextID));
    return m_id;
}

/// The lock orders it for everybody but init, which has none and promises no order.
void osThreadBasedTimer::setRunning(bool running)
{
    m_running.store(running, std::memory_order_relaxed);
}

bool osThreadBasedTimer::start()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    {
        const FieldsLock fields(m_lock, m_id);
        m_expiry = gpal::detail::sum(now, gpal::detail::fromMilliseconds(m_intervalMs));
        setRunning(true);
    }
    try {
        m_timerManager->add(this);
    } catch (const std::bad_alloc&) {
        const FieldsLock fields(m_lock, m_id);
        setRunning(false);
        throw;
    }
    return true;
}

bool osThreadBasedTimer::stop()
{
    {
        const FieldsLock fields(m_lock, m_id);
        setRunning(false);
    }
    return m_timerManager->remove(this);
}

bool osThreadBasedTimer::isRunning()
{
    const FieldsLock fields(m_lock, m_id);
    return m_running;
}

/// Restarts an armed timer only: clients reset timers that may have expired, and a reset must not
/// bring those back.
bool osThreadBasedTimer::reset()
{
    return stop() ? start() : true;
}

int osThreadBasedTimer::id() const
{
    return m_id;
}

bool osThreadBasedTimer::timerEvent(timespec* now, timespec* next)
{
    return now != nullptr && next != nullptr && serve(*now, *next, nullptr);
}

/// As timerEvent; a thread whose timer slack is given has its usual one when the client is called.
bool osThreadBasedTimer::serve(const timespec& now, timespec& next, gpal::detail::TimerSlack* slack)
{
    FieldsLock fields(m_lock, m_id);
    if (gpal::detail::isEarlier(now, m_expiry)) {
        gpal::detail::keepEarliest(next, m_expiry);
        return false;
    }
    timeAble* callback = m_callback;
    if (callback != nullptr && m_running) {
        fields.stay();
        const DestroyedIfCancelled whenCancelled(fields);
        if (slack != nullptr) {
            slack->makeUsual();
        }
        callback->timerExpired(m_owner);
    }
    setRunning(false);
    return true;
}
