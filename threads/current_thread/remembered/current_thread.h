/// \file
/// The calling thread's id, where a thread's own storage is one load away.
#ifndef GPAL_THREADS_CURRENT_THREAD_H
#define GPAL_THREADS_CURRENT_THREAD_H

#include <pthread.h>

namespace gpal::detail
{

/// The id of the thread that looks, once it has asked for it; else 0.
inline __thread unsigned long knownThreadId
    __attribute__((tls_model("initial-exec"), visibility("hidden"))) = 0;

__attribute__((noinline)) inline unsigned long learnThreadId()
{
    knownThreadId = pthread_self();
    return knownThreadId;
}

/// Asks the C library once in each thread: its answer costs a call, a good part of what an
/// uncontended take adds to its locks.
inline unsigned long currentThread()
{
    const unsigned long known = knownThreadId;
    return known != 0 ? known : learnThreadId();
}

} // namespace gpal::detail

#endif
