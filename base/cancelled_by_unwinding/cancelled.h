/// \file
/// What a thread does that is cancelled, where the C library unwinds its stack.
#ifndef GPAL_BASE_CANCELLED_H
#define GPAL_BASE_CANCELLED_H

#include <cstdlib>
#include <pthread.h>

namespace gpal::detail
{

/// Declared behind an object, sees to it that the object is destroyed when the thread is cancelled
/// in the rest of the scope. Here that is done without it.
template <typename Object>
class DestroyedIfCancelled
{
public:
    explicit DestroyedIfCancelled(const Object& /*object*/) {}
};

/// Makes a call that may block and returns its result; the thread can be cancelled meanwhile.
template <typename Call>
auto cancellably(Call call)
{
    return call();
}

/// `pthread_cond_timedwait`.
inline int timedWait(pthread_cond_t& condition, pthread_mutex_t& mutex, const timespec& deadline)
{
    return pthread_cond_timedwait(&condition, &mutex, &deadline);
}

/// `system`; the thread can be cancelled meanwhile.
inline int runCommand(const char* command)
{
    return std::system(command);
}

} // namespace gpal::detail

#endif
