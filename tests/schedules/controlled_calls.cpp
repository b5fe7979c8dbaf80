/// \file
/// The calls that threads meet by: the scheduler's while it searches, otherwise the C library's.
#include <cerrno>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/time.h>

#include "scheduler.h"
#include "support/replaceable.h"

using schedules::Scheduler;

namespace
{

/// The C library's own.
namespace original
{

support::Replaceable<int(pthread_mutex_t*, const pthread_mutexattr_t*)>
    pthread_mutex_init("pthread_mutex_init");
support::Replaceable<int(pthread_mutex_t*)> pthread_mutex_destroy("pthread_mutex_destroy");
support::Replaceable<int(pthread_mutex_t*)> pthread_mutex_lock("pthread_mutex_lock");
support::Replaceable<int(pthread_mutex_t*)> pthread_mutex_trylock("pthread_mutex_trylock");
support::Replaceable<int(pthread_mutex_t*)> pthread_mutex_unlock("pthread_mutex_unlock");
support::Replaceable<int(pthread_cond_t*, const pthread_condattr_t*)>
    pthread_cond_init("pthread_cond_init");
support::Replaceable<int(pthread_cond_t*)> pthread_cond_destroy("pthread_cond_destroy");
support::Replaceable<int(pthread_cond_t*, pthread_mutex_t*)> pthread_cond_wait("pthread_cond_wait");
support::Replaceable<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>
    pthread_cond_timedwait("pthread_cond_timedwait");
support::Replaceable<int(pthread_cond_t*)> pthread_cond_signal("pthread_cond_signal");
support::Replaceable<int(pthread_cond_t*)> pthread_cond_broadcast("pthread_cond_broadcast");
support::Replaceable<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>
    pthread_create("pthread_create");
support::Replaceable<int(pthread_t, void**)> pthread_join("pthread_join");
support::Replaceable<int(pthread_t)> pthread_cancel("pthread_cancel");
support::Replaceable<void()> pthread_testcancel("pthread_testcancel");
support::Replaceable<int(int, int*)> pthread_setcancelstate("pthread_setcancelstate");
support::Replaceable<pthread_t()> pthread_self("pthread_self");
support::Replaceable<int(clockid_t, timespec*)> clock_gettime("clock_gettime");
support::Replaceable<int(timeval*, void*)> gettimeofday("gettimeofday");
support::Replaceable<int(int, id_t, int)> setpriority("setpriority");

} // namespace original

Scheduler* searching()
{
    return Scheduler::running();
}

} // namespace

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept
{
    if (searching() != nullptr) {
        searching()->initialise(mutex);
    }
    return original::pthread_mutex_init.original(mutex, attributes);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept
{
    if (searching() != nullptr) {
        searching()->destroy(mutex, "destroys mutex");
        return 0;
    }
    return original::pthread_mutex_destroy.original(mutex);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    if (searching() != nullptr) {
        searching()->lock(mutex);
        return 0;
    }
    return original::pthread_mutex_lock.original(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
{
    if (searching() != nullptr) {
        return searching()->tryLock(mutex) ? 0 : EBUSY;
    }
    return original::pthread_mutex_trylock.original(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    if (searching() != nullptr) {
        searching()->unlock(mutex);
        return 0;
    }
    return original::pthread_mutex_unlock.original(mutex);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept
{
    if (searching() != nullptr) {
        searching()->initialise(condition);
    }
    return original::pthread_cond_init.original(condition, attributes);
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept
{
    if (searching() != nullptr) {
        searching()->destroy(condition, "destroys condition");
        return 0;
    }
    return original::pthread_cond_destroy.original(condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    if (searching() != nullptr) {
        searching()->wait(condition, mutex, nullptr);
        return 0;
    }
    return original::pthread_cond_wait.original(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* limit)
{
    if (searching() != nullptr) {
        const bool inTime =
            searching()->wait(condition, mutex, limit) == Scheduler::Woken::BY_SIGNAL;
        return inTime ? 0 : ETIMEDOUT;
    }
    return original::pthread_cond_timedwait.original(condition, mutex, limit);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept
{
    if (searching() != nullptr) {
        searching()->signal(condition, false);
        return 0;
    }
    return original::pthread_cond_signal.original(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    if (searching() != nullptr) {
        searching()->signal(condition, true);
        return 0;
    }
    return original::pthread_cond_broadcast.original(condition);
}

int pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept
{
    if (searching() != nullptr) {
        *id = Scheduler::idOf(searching()->create([=] { function(argument); }));
        searching()->step("has created a thread");
        return 0;
    }
    return original::pthread_create.original(id, attributes, function, argument);
}

int pthread_join(pthread_t id, void** result)
{
    if (searching() != nullptr) {
        searching()->join(id);
        return 0;
    }
    return original::pthread_join.original(id, result);
}

int pthread_cancel(pthread_t id)
{
    if (searching() != nullptr) {
        searching()->cancel(id);
        return 0;
    }
    return original::pthread_cancel.original(id);
}

void pthread_testcancel()
{
    if (searching() != nullptr) {
        searching()->testCancel();
        return;
    }
    original::pthread_testcancel.original();
}

int pthread_setcancelstate(int state, int* before)
{
    if (searching() == nullptr) {
        return original::pthread_setcancelstate.original(state, before);
    }
    bool& can = searching()->current().canBeCancelled;
    if (before != nullptr) {
        *before = can ? PTHREAD_CANCEL_ENABLE : PTHREAD_CANCEL_DISABLE;
    }
    can = state == PTHREAD_CANCEL_ENABLE;
    return 0;
}

pthread_t pthread_self() noexcept
{
    return searching() != nullptr ? Scheduler::idOf(searching()->current())
                                  : original::pthread_self.original();
}

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (searching() != nullptr) {
        *time = searching()->now();
        return 0;
    }
    return original::clock_gettime.original(clock, time);
}

int gettimeofday(timeval* time, void* zone) noexcept
{
    if (searching() != nullptr) {
        const timespec now = searching()->now();
        *time = {now.tv_sec, now.tv_nsec / 1000};
        return 0;
    }
    return original::gettimeofday.original(time, zone);
}

/// Threads get their priorities, which would be the searching one's.
int setpriority(__priority_which_t which, id_t id, int value) noexcept
{
    return searching() != nullptr
               ? 0
               : original::setpriority.original(static_cast<int>(which), id, value);
}
}
