/// \file
/// The one way in which the layer holds a POSIX mutex.
#ifndef GPAL_BASE_LOCKED_H
#define GPAL_BASE_LOCKED_H

#include <pthread.h>
#include <type_traits>

namespace gpal::detail
{

inline void unlockMutex(void* mutex)
{
    pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex));
}

/// Runs \p body with \p mutex locked and returns what it returns. The mutex is unlocked however the
/// body is left: by return, by cancellation inside it, by an exception.
///
/// The C library's own clean-up handler does all of it, without a scope guard beside it that would
/// unlock a second time: where cancellation unwinds the stack, the handler is itself a guard that
/// unwinding runs; where cancellation only runs handlers, it is one of those.
template <typename Body>
auto locked(pthread_mutex_t& mutex, Body&& body)
{
    using Result = decltype(body());
    if constexpr (std::is_void_v<Result>) {
        pthread_mutex_lock(&mutex);
        pthread_cleanup_push(unlockMutex, &mutex);
        body();
        pthread_cleanup_pop(1);
    } else {
        Result result{};
        pthread_mutex_lock(&mutex);
        pthread_cleanup_push(unlockMutex, &mutex);
        result = body();
        pthread_cleanup_pop(1);
        return result;
    }
}

} // namespace gpal::detail

#endif
