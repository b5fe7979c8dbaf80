/// \file
/// Recursive mutex.
#ifndef GPAL_GPALMUTEX_H
#define GPAL_GPALMUTEX_H

#include <pthread.h>

#include <gpal/export.h>

/// State in which a `GPALMutex` is constructed. Any non-zero value means unlocked.
enum MutexInitialState : int {
    GPAL_MUTEX_LOCKED = 0,  ///< held by the constructing thread
    GPAL_MUTEX_UNLOCKED = 1 ///< free
};

/// Recursive mutex: its owner may take it again and must give it as often as it took it.
///
/// `take` and `give` may be called from any thread and are no cancellation points; a thread that is
/// cancelled while it holds the mutex does not release it by itself.
class GPAL_API GPALMutex
{
public:
    /// Makes the mutex in the given state.
    explicit GPALMutex(MutexInitialState initialState);
    GPALMutex(const GPALMutex&) = delete;
    GPALMutex& operator=(const GPALMutex&) = delete;
    /// Nobody may hold the mutex or wait for it.
    ~GPALMutex();

    /// Waits without limit for the mutex. Returns the result of `pthread_mutex_lock`: 0, or an
    /// error number.
    int take();

    /// Gives the mutex back once. Returns the result of `pthread_mutex_unlock`: 0, or EPERM from a
    /// thread that does not own it.
    int give();

private:
    pthread_mutex_t m_mutex;
};

#endif
