/// \file
/// The one way in which the layer holds a POSIX mutex.
#ifndef GPAL_BASE_LOCKED_H
#define GPAL_BASE_LOCKED_H

#include <pthread.h>

#include "cancelled.h"

namespace gpal::detail
{

class MutexLock
{
public:
    explicit MutexLock(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    ~MutexLock() { pthread_mutex_unlock(&m_mutex); }

private:
    pthread_mutex_t& m_mutex;
};

/// Runs \p body with \p mutex locked and returns what it returns. The mutex is unlocked however the
/// body is left: by return, by cancellation inside it, by an exception.
template <typename Body>
auto locked(pthread_mutex_t& mutex, Body&& body)
{
    const MutexLock lock(mutex);
    const DestroyedIfCancelled whenCancelled(lock);
    return body();
}

} // namespace gpal::detail

#endif
