/// \file
/// What a client without the layer would write for `GPALMutex`.
#ifndef GPAL_BENCHMARKS_HAND_MUTEX_H
#define GPAL_BENCHMARKS_HAND_MUTEX_H

#include <pthread.h>

namespace hand
{

/// A recursive pthread mutex behind functions of a module of its own.
class Mutex
{
public:
    Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex();

    int take();
    int give();

private:
    pthread_mutex_t m_mutex;
};

} // namespace hand

#endif
