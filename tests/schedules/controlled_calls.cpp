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
    mutexInit("pthread_mutex_init");
support::Replaceable<int(pthread_mutex_t*)> mutexDestroy("pthread_mutex_destroy");
support::Replaceable<int(pthread_mutex_t*)> mutexLock("pthread_mutex_lock");
support::Replaceable<int(pthread_mutex_t*)> mutexTrylock("pthread_mutex_trylock");
support::Replaceable<int(pthread_mutex_t*)> mutexUnlock("pthread_mutex_unlock");
support::Replaceable<int(pthread_cond_t*, const pthread_condattr_t*)> condInit("pthread_cond_init");
support::Replaceable<int(pthread_cond_t*)> condDestroy("pthread_cond_destroy");
support::Replaceable<int(pthread_cond_t*, pthread_mutex_t*)> condWait("pthread_cond_wait");
support::Replaceable<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>
    condTimedwait("pthread_cond_timedwait");
support::Replaceable<int(pthread_cond_t*)> condSignal("pthread_cond_signal");
support::Replaceable<int(pthread_cond_t*)> condBroadcast("pthread_cond_broadcast");
support::Replaceable<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>
    create("pthread_create");
support::Replaceable<int(pthread_t, void**)> join("pthread_join");
support::Replaceable<int(pthread_t)> cancel("pthread_cancel");
support::Replaceable<void()> testcancel("pthread_testcancel");
support::Replaceable<int(int, int*)> setcancelstate("pthread_setcancelstate");
support::Replaceable<pthread_t()> self("pthread_self");
support::Replaceable<int(clockid_t, timespec*)> clockGettime("clock_gettime");
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
    return original::mutexInit.original(mutex, attributes);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept
{
    if (searching() != nullptr) {
        searching()->destroy(mutex, "destroys mutex");
        return 0;
    }
    return original::mutexDestroy.original(mutex);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    if (searching() != nullptr) {
        searching()->lock(mutex);
        return 0;
    }
    return original::mutexLock.original(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
{
    if (searching() != nullptr) {
        return searching()->tryLock(mutex) ? 0 : EBUSY;
    }
    return original::mutexTrylock.original(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    if (searching() != nullptr) {
        searching()->unlock(mutex);
        return 0;
    }
    return original::mutexUnlock.original(mutex);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept
{
    if (searching() != nullptr) {
        searching()->initialise(condition);
    }
    return original::condInit.original(condition, attributes);
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept
{
    if (searching() != nullptr) {
        searching()->destroy(condition, "destroys condition");
        return 0;
    }
    return original::condDestroy.original(condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    if (searching() != nullptr) {
        searching()->wait(condition, mutex, nullptr);
        return 0;
    }
    return original::condWait.original(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* limit)
{
    if (searching() != nullptr) {
        const bool inTime =
            searching()->wait(condition, mutex, limit) == Scheduler::Woken::BY_SIGNAL;
        return inTime ? 0 : ETIMEDOUT;
    }
    return original::condTimedwait.original(condition, mutex, limit);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept
{
    if (searching() != nullptr) {
        searching()->signal(condition, false);
        return 0;
    }
    return original::condSignal.original(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    if (searching() != nullptr) {
        searching()->signal(condition, true);
        return 0;
    }
    return original::condBroadcast.original(condition);
}

int pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept
{
    if (searching() != nullptr) {
        *id = Scheduler::idOf(searching()->create([=] { function(argument); }));
        searching()->step("has created a thread");
        return 0;
    }
    return original::create.original(id, attributes, function, argument);
}

int pthread_join(pthread_t id, void** result)
{
    if (searching() != nullptr) {
        searching()->join(id);
        return 0;
    }
    return original::join.original(id, result);
}

int pthread_cancel(pthread_t id)
{
    if (searching() != nullptr) {
        searching()->cancel(id);
        return 0;
    }
    return original::cancel.original(id);
}

void pthread_testcancel()
{
    if (searching() != nullptr) {
        searching()->testCancel();
        return;
    }
    original::testcancel.original();
}

int pthread_setcancelstate(int state, int* before)
{
    if (searching() == nullptr) {
        return original::setcancelstate.original(state, before);
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
                                  : original::self.original();
}

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (searching() != nullptr) {
        *time = searching()->now();
        return 0;
    }
    return original::clockGettime.original(clock, time);
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
