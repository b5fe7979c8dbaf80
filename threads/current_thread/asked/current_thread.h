/// \file
/// The calling thread's id, where a thread's own storage is no cheaper to reach than the answer.
#ifndef GPAL_THREADS_CURRENT_THREAD_H
#define GPAL_THREADS_CURRENT_THREAD_H

#include <pthread.h>

namespace gpal::detail
{

inline unsigned long currentThread()
{
    return pthread_self();
}

} // namespace gpal::detail

#endif
