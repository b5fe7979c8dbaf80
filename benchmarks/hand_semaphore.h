/// \file
/// What a client without the layer would write for `Semaphore`, to measure the layer against.
#ifndef GPAL_BENCHMARKS_HAND_SEMAPHORE_H
#define GPAL_BENCHMARKS_HAND_SEMAPHORE_H

#include <pthread.h>
#include <set>

namespace hand
{

/// The algorithm of the layer's `Semaphore` to the letter, written out over pthread calls: the two
/// mutexes with their clean-up handlers, the condition, the counters, the owner and the multiset of
/// waiting threads. Left out is what the layer adds to it: virtual calls, figures that dumps may
/// read meanwhile, the set of live semaphores.
class Semaphore
{
public:
    Semaphore(int initialCount, int maxCount, bool reentrant);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    ~Semaphore();

    int take(int timeoutMs);
    int give();

private:
    int m_count;
    int m_maxCount;
    int m_waitingCount;
    unsigned long m_owner;
    unsigned int m_giveCount;
    unsigned int m_takeCount;
    unsigned int m_timeoutCount;
    bool m_reentrant;
    pthread_mutex_t m_waitersMutex;
    std::multiset<unsigned long> m_waitingThreads;
    pthread_mutex_t m_stateMutex;
    pthread_cond_t m_available;
};

} // namespace hand

#endif
