#include "support/condition_signals.h"

namespace support::calls
{

Replaceable<int(pthread_cond_t*)> pthread_cond_signal("pthread_cond_signal");
Replaceable<int(pthread_cond_t*)> pthread_cond_broadcast("pthread_cond_broadcast");
Replaceable<int(pthread_cond_t*)> pthread_cond_destroy("pthread_cond_destroy");

} // namespace support::calls

extern "C" {

int pthread_cond_signal(pthread_cond_t* condition) noexcept
{
    return support::calls::pthread_cond_signal(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    return support::calls::pthread_cond_broadcast(condition);
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept
{
    return support::calls::pthread_cond_destroy(condition);
}
}
