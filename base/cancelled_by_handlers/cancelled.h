/// \file
/// What a thread does that is cancelled, where the C library runs clean-up handlers and nothing
/// else: no destructor, and no handler of an exception.
#ifndef GPAL_BASE_CANCELLED_H
#define GPAL_BASE_CANCELLED_H

#include <pthread.h>

namespace gpal::detail
{

/// A clean-up handler for a scope; at the scope's end it goes without being run.
class CleanUpHandler
{
public:
    CleanUpHandler(void (*function)(void*), void* argument);
    CleanUpHandler(const CleanUpHandler&) = delete;
    CleanUpHandler& operator=(const CleanUpHandler&) = delete;
    ~CleanUpHandler() { _pthread_cleanup_pop(&m_buffer, 0); }

private:
    _pthread_cleanup_buffer m_buffer;
};

/// Declared behind an object, sees to it that the object is destroyed when the thread is cancelled
/// in the rest of the scope.
template <typename Object>
class DestroyedIfCancelled
{
public:
    explicit DestroyedIfCancelled(const Object& object)
        : m_handler(destroy, const_cast<Object*>(&object))
    {
    }

private:
    static void destroy(void* object) { static_cast<Object*>(object)->~Object(); }

    CleanUpHandler m_handler;
};

/// Makes calls that may block and returns their result; the thread can be cancelled meanwhile. Few
/// of the C library's calls are cancellation points, and the C++ library makes those that are not
/// once more when a request interrupts them. So the thread can be cancelled anywhere in the calls:
/// what has to be destroyed then must bear to be found in the middle of them.
template <typename Call>
auto cancellably(Call call)
{
    class Anywhere
    {
    public:
        Anywhere() { pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &m_before); }
        ~Anywhere() { pthread_setcanceltype(m_before, nullptr); }

    private:
        int m_before = PTHREAD_CANCEL_DEFERRED;
    } const anywhere;
    return call();
}

/// `pthread_cond_timedwait`. The C library's may leave the thread as one that can be cancelled
/// anywhere, when it wakes up in time.
inline int timedWait(pthread_cond_t& condition, pthread_mutex_t& mutex, const timespec& deadline)
{
    const int result = pthread_cond_timedwait(&condition, &mutex, &deadline);
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, nullptr);
    return result;
}

/// `system`; the thread can be cancelled meanwhile. The command then goes on by itself.
int runCommand(const char* command);

} // namespace gpal::detail

#endif
