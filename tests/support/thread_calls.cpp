#include "support/thread_calls.h"

namespace support::calls
{

Replaceable<int(pthread_t)> pthread_cancel("pthread_cancel");
Replaceable<int(pthread_t, void**)> pthread_join("pthread_join");
Replaceable<int(pthread_t)> pthread_detach("pthread_detach");
Replaceable<int(int, int*)> pthread_setcancelstate("pthread_setcancelstate");
Replaceable<int(pthread_mutex_t*)> pthread_mutex_destroy("pthread_mutex_destroy");
Replaceable<int(pthread_mutexattr_t*)> pthread_mutexattr_destroy("pthread_mutexattr_destroy");
Replaceable<int(pthread_attr_t*)> pthread_attr_destroy("pthread_attr_destroy");
Replaceable<int(const void*, Dl_info*)> dladdr("dladdr");

} // namespace support::calls

namespace calls = support::calls;

extern "C" {

int pthread_cancel(pthread_t thread)
{
    return calls::pthread_cancel(thread);
}

int pthread_join(pthread_t thread, void** result)
{
    return calls::pthread_join(thread, result);
}

int pthread_detach(pthread_t thread) noexcept
{
    return calls::pthread_detach(thread);
}

int pthread_setcancelstate(int state, int* before)
{
    return calls::pthread_setcancelstate(state, before);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept
{
    return calls::pthread_mutex_destroy(mutex);
}

int pthread_mutexattr_destroy(pthread_mutexattr_t* attributes) noexcept
{
    return calls::pthread_mutexattr_destroy(attributes);
}

__attribute__((no_sanitize("thread"))) int pthread_attr_destroy(pthread_attr_t* attributes) noexcept
{
    // The thread sanitizer calls this one in the threads that it starts.
    return calls::pthread_attr_destroy.isReplaced()
               ? calls::pthread_attr_destroy(attributes)
               : calls::pthread_attr_destroy.original(attributes);
}

int dladdr(const void* address, Dl_info* information) noexcept
{
    return calls::dladdr(address, information);
}
}
