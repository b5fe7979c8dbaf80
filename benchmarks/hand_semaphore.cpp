#include "hand_semaphore.h"

#include <cerrno>
#include <sys/time.h>

namespace hand
{
namespace
{

void unlock(void* mutex)
{
    pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex));
}

timespec wallClockIn(int milliseconds)
{
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec time{now.tv_sec + milliseconds / 1000,
                  (milliseconds % 1000) * 1000000L + now.tv_usec * 1000L};
    if (time.tv_nsec >= 1000000000) {
        time.tv_sec += 1;
        time.tv_nsec -= 1000000000;
    }
    return time;
}

} // namespace

Semaphore::Semaphore(int initialCount, int maxCount, bool reentrant)
    : m_count(initialCount),
      m_maxCount(reentrant ? 1 : maxCount),
      m_waitingCount(0),
      m_owner(0),
      m_giveCount(0),
      m_takeCount(0),
      m_timeoutCount(0),
      m_reentrant(reentrant)
{
    pthread_mutex_init(&m_stateMutex, nullptr);
    pthread_mutex_init(&m_waitersMutex, nullptr);
    pthread_cond_init(&m_available, nullptr);
}

Semaphore::~Semaphore()
{
    pthread_cond_destroy(&m_available);
    pthread_mutex_destroy(&m_stateMutex);
    pthread_mutex_destroy(&m_waitersMutex);
}

int Semaphore::take(int timeoutMs)
{
    const unsigned long self = pthread_self();
    int taken = 1;
    pthread_mutex_lock(&m_stateMutex);
    pthread_cleanup_push(unlock, &m_stateMutex);
    ++m_takeCount;
    if (!(m_count > 0 && m_waitingCount == 0) && !(m_reentrant && m_owner == self)) {
        ++m_waitingCount;
        pthread_mutex_lock(&m_waitersMutex);
        pthread_cleanup_push(unlock, &m_waitersMutex);
        m_waitingThreads.insert(self);
        pthread_cleanup_pop(1);
        do {
            if (timeoutMs == -1) {
                pthread_cond_wait(&m_available, &m_stateMutex);
            } else {
                const timespec deadline = wallClockIn(timeoutMs);
                if (pthread_cond_timedwait(&m_available, &m_stateMutex, &deadline) == ETIMEDOUT) {
                    taken = 0;
                }
            }
        } while (taken == 1 && m_count < 1);
        --m_waitingCount;
        pthread_mutex_lock(&m_waitersMutex);
        pthread_cleanup_push(unlock, &m_waitersMutex);
        m_waitingThreads.erase(m_waitingThreads.find(self));
        pthread_cleanup_pop(1);
    }
    if (taken == 1) {
        m_owner = self;
        --m_count;
    } else {
        ++m_timeoutCount;
    }
    pthread_cleanup_pop(1);
    return taken;
}

int Semaphore::give()
{
    pthread_mutex_lock(&m_stateMutex);
    pthread_cleanup_push(unlock, &m_stateMutex);
    ++m_giveCount;
    if (m_maxCount == -1 || m_count < m_maxCount) {
        ++m_count;
    }
    if (m_waitingCount > 0) {
        pthread_cond_signal(&m_available);
    }
    if (m_count > 0 && m_owner == pthread_self()) {
        m_owner = 0;
    }
    pthread_cleanup_pop(1);
    return 1;
}

} // namespace hand
