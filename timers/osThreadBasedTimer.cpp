#include <gpal/osThreadBasedTimer.h>

#include <algorithm>
#include <new>

#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>

#include "base/cancellation.h"
#include "base/time_math.h"

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

/// Holds a timer's lock for a scope. It is waited for with cancellation held off: a thread that was
/// cancelled in there would stay counted as waiting, and nobody could take the lock at once any
/// more, which for a lock is never.
class FieldsLock
{
public:
    explicit FieldsLock(Semaphore& lock) : m_lock(lock)
    {
        const gpal::detail::CancellationHeldOff whileWaiting;
        m_lock.take(-1);
    }
    FieldsLock(const FieldsLock&) = delete;
    FieldsLock& operator=(const FieldsLock&) = delete;
    ~FieldsLock() { m_lock.give(); }

private:
    Semaphore& m_lock;
};

} // namespace

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
    m_running = false;
    m_intervalMs = std::max(intervalMs, SHORTEST_INTERVAL_MS);
    m_id = static_cast<int>(takeNextId(nextID));
    return m_id;
}

bool osThreadBasedTimer::start()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    {
        const FieldsLock fields(m_lock);
        m_expiry = gpal::detail::sum(now, gpal::detail::fromMilliseconds(m_intervalMs));
        m_running = true;
    }
    try {
        m_timerManager->add(this);
    } catch (const std::bad_alloc&) {
        const FieldsLock fields(m_lock);
        m_running = false;
        throw;
    }
    return true;
}

bool osThreadBasedTimer::stop()
{
    {
        const FieldsLock fields(m_lock);
        m_running = false;
    }
    return m_timerManager->remove(this);
}

bool osThreadBasedTimer::isRunning()
{
    const FieldsLock fields(m_lock);
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
    using gpal::detail::isEarlier;
    if (now == nullptr || next == nullptr) {
        return false;
    }
    const FieldsLock fields(m_lock);
    if (isEarlier(*now, m_expiry)) {
        const bool nextIsSet = next->tv_sec != 0 || next->tv_nsec != 0;
        if (!nextIsSet || isEarlier(m_expiry, *next)) {
            *next = m_expiry;
        }
        return false;
    }
    timeAble* callback = m_callback;
    if (callback != nullptr && m_running) {
        callback->timerExpired(m_owner);
    }
    m_running = false;
    return true;
}
