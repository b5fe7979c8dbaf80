#include <gpal/Semaphore.h>

#include <cerrno>
#include <new>
#include <string>
#include <sys/time.h>

#include "base/locked.h"
#include "base/time_math.h"
#include "cancelled.h"
#include "threads/semaphore_dump.h"

using gpal::detail::DestroyedIfCancelled;
using gpal::detail::locked;
using gpal::detail::timedWait;

namespace
{

constexpr int UNBOUNDED = -1;
constexpr int WITHOUT_LIMIT = -1;

/// Counts a thread that waits for a scope; the state's lock is held at both ends of it.
template <typename Count>
class Blocked
{
public:
    explicit Blocked(Count& count) : m_count(count) { m_count += 1; }
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;
    ~Blocked() { m_count -= 1; }

private:
    Count& m_count;
};

timespec wallClockIn(int milliseconds)
{
    timeval now{};
    gettimeofday(&now, nullptr);
    const timespec start{now.tv_sec, now.tv_usec * 1000L};
    return gpal::detail::sum(start, gpal::detail::fromMilliseconds(milliseconds));
}

} // namespace

const int Semaphore::AVAILABLE;
const int Semaphore::NOT_AVAILABLE;

std::set<Semaphore*>* Semaphore::m_createdSemaphores = nullptr;
pthread_mutex_t Semaphore::m_createdListMutex = PTHREAD_MUTEX_INITIALIZER;

Semaphore::Semaphore(int initialCount, int maxCount, bool reentrant, int isWaitObject)
    : m_isWaitObject(isWaitObject),
      m_count(initialCount),
      m_maxCount(reentrant ? 1 : maxCount),
      m_waitingCount(0),
      m_owner(0),
      m_giveCount(0),
      m_takeCount(0),
      m_timeoutCount(0),
      m_reentrant(reentrant),
      m_blockedCount(0)
{
    pthread_mutex_init(&m_stateMutex, nullptr);
    pthread_mutex_init(&m_waitersMutex, nullptr);
    pthread_cond_init(&m_available, nullptr);
}

Semaphore::Semaphore(int initialCount, int maxCount, bool reentrant)
    : Semaphore(initialCount, maxCount, reentrant, 0)
{
    enlist();
}

Semaphore::Semaphore(WaitObject) : Semaphore(0, 1, false, 1) {}

Semaphore::~Semaphore()
{
    delist();
    // The last user may just be leaving. It is not waited for if it does not: in a forked child the
    // holder of the lock may not exist.
    if (pthread_mutex_trylock(&m_stateMutex) == 0) {
        pthread_mutex_unlock(&m_stateMutex);
    }
    // Destroying a condition that threads still wait for would block until they have gone. They are
    // left as they are instead; the condition holds nothing that has to be freed.
    if (m_blockedCount == 0) {
        pthread_cond_destroy(&m_available);
    }
    pthread_mutex_destroy(&m_stateMutex);
    pthread_mutex_destroy(&m_waitersMutex);
}

void Semaphore::enlist()
{
    locked(m_createdListMutex, [this] {
        if (m_createdSemaphores == nullptr) {
            m_createdSemaphores = new std::set<Semaphore*>;
        }
        m_createdSemaphores->insert(this);
    });
}

void Semaphore::delist()
{
    locked(m_createdListMutex, [this] {
        if (m_createdSemaphores == nullptr) {
            return;
        }
        const auto own = m_createdSemaphores->find(this);
        if (own != m_createdSemaphores->end()) {
            m_createdSemaphores->erase(own);
        }
        if (m_createdSemaphores->empty()) {
            delete m_createdSemaphores;
            m_createdSemaphores = nullptr;
        }
    });
}

int Semaphore::take(int timeoutMs)
{
    return locked(m_stateMutex, [this, timeoutMs] {
        m_takeCount += 1;
        const unsigned long self = pthread_self();
        if ((m_count > 0 && m_waitingCount == 0) || (m_reentrant && m_owner == self)) {
            m_owner = self;
            m_count -= 1;
            return AVAILABLE;
        }
        return takeLater(timeoutMs);
    });
}

/// The rest of a take that has to wait; on its own, so that one that has not saves fewer registers.
int Semaphore::takeLater(int timeoutMs)
{
    const unsigned long self = pthread_self();
    if (!waitForUnit(self, timeoutMs)) {
        return NOT_AVAILABLE;
    }
    m_owner = self;
    m_count -= 1;
    return AVAILABLE;
}

/// Queues the calling thread until there is a unit; returns false when the time ran out first.
///
/// It waits once before it looks at the count: a free unit belongs to those who were there before.
/// A thread that is cancelled in here stays counted and listed, as the header says: a semaphore
/// that lost a waiter this way hands units over only to threads that a give signals.
bool Semaphore::waitForUnit(unsigned long self, int timeoutMs)
{
    m_waitingCount += 1;
    listWaiter(self);
    bool inTime = true;
    do {
        inTime = waitForSignal(timeoutMs);
    } while (inTime && m_count < 1);
    m_waitingCount -= 1;
    unlistWaiter(self);
    if (!inTime) {
        m_timeoutCount += 1;
    }
    return inTime;
}

/// The list only serves dumps: a lock must not fail because a waiter can't be listed.
void Semaphore::listWaiter(unsigned long thread)
{
    locked(m_waitersMutex, [this, thread] {
        try {
            m_waitingThreads.insert(thread);
        } catch (const std::bad_alloc&) {
        }
    });
}

void Semaphore::unlistWaiter(unsigned long thread)
{
    locked(m_waitersMutex, [this, thread] {
        const auto entry = m_waitingThreads.find(thread);
        if (entry != m_waitingThreads.end()) {
            m_waitingThreads.erase(entry);
        }
    });
}

/// One wait; returns false when the time ran out. The deadline starts from now each time, so that a
/// time-out bounds one quiet interval and not the whole of a `take`.
bool Semaphore::waitForSignal(int timeoutMs)
{
    if (timeoutMs != WITHOUT_LIMIT && timeoutMs <= 0) {
        // A wait whose deadline has passed costs a trip through the kernel's timer slack and does
        // nothing but be a cancellation point.
        pthread_testcancel();
        return false;
    }
    const Blocked blocked(m_blockedCount);
    const DestroyedIfCancelled whenCancelled(blocked);
    if (timeoutMs == WITHOUT_LIMIT) {
        return pthread_cond_wait(&m_available, &m_stateMutex) != ETIMEDOUT;
    }
    return timedWait(m_available, m_stateMutex, wallClockIn(timeoutMs)) != ETIMEDOUT;
}

int Semaphore::give()
{
    return locked(m_stateMutex, [this] {
        m_giveCount += 1;
        if (m_maxCount == UNBOUNDED || m_count < m_maxCount) {
            m_count += 1;
        }
        if (m_waitingCount > 0) {
            pthread_cond_signal(&m_available);
        }
        if (m_count > 0 && m_owner == pthread_self()) {
            m_owner = 0;
        }
        return 1;
    });
}

bool Semaphore::enter()
{
    pthread_mutex_lock(&m_stateMutex);
    if (m_count < 1 || m_waitingCount != 0) {
        pthread_mutex_unlock(&m_stateMutex);
        return false;
    }
    m_takeCount += 1;
    return true;
}

void Semaphore::leave()
{
    m_giveCount += 1;
    m_owner = 0;
    pthread_mutex_unlock(&m_stateMutex);
}

void Semaphore::stay()
{
    m_owner = pthread_self();
    m_count -= 1;
    pthread_mutex_unlock(&m_stateMutex);
}

void Semaphore::displayInfo()
{
    gpal::detail::SemaphoreDump dump("Semaphore", this);
    dump.line("max count", m_maxCount);
    dump.line("current count", m_count);
    dump.line("current owner", static_cast<long long>(m_owner));
    dump.line("give() count", m_giveCount);
    dump.line("take() count", m_takeCount);
    dump.line("take() timeout count", m_timeoutCount);
    dump.line("reentrant", m_reentrant);
    dump.line("Number of threads waiting", m_waitingCount);
    locked(m_waitersMutex, [&] { dump.threads(m_waitingThreads); });
    dump.write();
}

void Semaphore::info(Semaphore* semaphore)
{
    if (semaphore != nullptr) {
        semaphore->displayInfo();
        return;
    }
    locked(m_createdListMutex, [] {
        if (m_createdSemaphores == nullptr) {
            return;
        }
        for (Semaphore* live : *m_createdSemaphores) {
            live->displayInfo();
        }
    });
}

void Semaphore::threadExitSemaphoreCleanup(unsigned long threadId)
{
    locked(m_createdListMutex, [threadId] {
        if (m_createdSemaphores == nullptr) {
            return;
        }
        for (Semaphore* live : *m_createdSemaphores) {
            if (live->m_isWaitObject == 0 && live->m_owner == threadId) {
                live->give(); // once, however deeply a reentrant owner had nested
            }
        }
    });
}
