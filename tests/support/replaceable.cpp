#include "support/replaceable.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

namespace support::calls
{

Replaceable<int(const char*)> system("system");
Replaceable<void(int, const char*, va_list)> vsyslog("vsyslog");
Replaceable<int(clockid_t, timespec*)> clock_gettime("clock_gettime");
Replaceable<int(timeval*, void*)> gettimeofday("gettimeofday");
Replaceable<int(const timespec*, timespec*)> nanosleep("nanosleep");
Replaceable<unsigned int(unsigned int)> sleep("sleep");
Replaceable<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>
    pthread_create("pthread_create");
Replaceable<int(pthread_attr_t*)> pthread_attr_init("pthread_attr_init");
Replaceable<int(pthread_cond_t*, pthread_mutex_t*)> pthread_cond_wait("pthread_cond_wait");
Replaceable<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>
    pthread_cond_timedwait("pthread_cond_timedwait");
Replaceable<int(int, id_t, int)> setpriority("setpriority");
Replaceable<int(int, id_t)> getpriority("getpriority");
Replaceable<int(pid_t, int)> kill("kill");
Replaceable<pid_t(pid_t, int*, int)> waitpid("waitpid");
Replaceable<int(clockid_t, sigevent*, timer_t*)> timer_create("timer_create");
Replaceable<int(timer_t, int, const itimerspec*, itimerspec*)> timer_settime("timer_settime");
Replaceable<int(timer_t)> timer_getoverrun("timer_getoverrun");
Replaceable<int(timer_t)> timer_delete("timer_delete");

} // namespace support::calls

// The definitions that the library's calls bind to. What the C library declares not to throw is
// declared so here too; the others are cancellation points and let unwinding pass.

namespace calls = support::calls;

extern "C" {

int system(const char* command)
{
    if (!calls::system.isReplaced() && command != nullptr && std::strcmp(command, "reboot") == 0) {
        std::fputs("a test let the layer reboot the machine\n", stderr);
        std::abort();
    }
    return calls::system(command);
}

void vsyslog(int priority, const char* format, va_list arguments)
{
    calls::vsyslog(priority, format, arguments);
}

// A variadic call can't be handed on as it is: it takes the way of the other one.
void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    calls::vsyslog(priority, format, arguments);
    va_end(arguments);
}

// What the two are called by in a hardened library. NOLINTBEGIN(bugprone-reserved-identifier)

void __vsyslog_chk(int priority, int, const char* format, va_list arguments)
{
    calls::vsyslog(priority, format, arguments);
}

void __syslog_chk(int priority, int, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    calls::vsyslog(priority, format, arguments);
    va_end(arguments);
}

// NOLINTEND(bugprone-reserved-identifier)

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    return calls::clock_gettime(clock, time);
}

// C libraries do not agree on the type of the second argument.
int replacedGettimeofday(timeval* time, void* zone) noexcept __asm__("gettimeofday");
int replacedGettimeofday(timeval* time, void* zone) noexcept
{
    return calls::gettimeofday(time, zone);
}

int nanosleep(const timespec* request, timespec* rest)
{
    return calls::nanosleep(request, rest);
}

unsigned int sleep(unsigned int seconds)
{
    return calls::sleep(seconds);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept
{
    return calls::pthread_create(thread, attributes, start, argument);
}

__attribute__((no_sanitize("thread"))) int pthread_attr_init(pthread_attr_t* attributes) noexcept
{
    // The thread sanitizer calls this one in the threads that it starts.
    return calls::pthread_attr_init.isReplaced() ? calls::pthread_attr_init(attributes)
                                                 : calls::pthread_attr_init.original(attributes);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    return calls::pthread_cond_wait(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           const timespec* deadline)
{
    return calls::pthread_cond_timedwait(condition, mutex, deadline);
}

int setpriority(__priority_which_t which, id_t who, int value) noexcept
{
    return calls::setpriority(static_cast<int>(which), who, value);
}

int getpriority(__priority_which_t which, id_t who) noexcept
{
    return calls::getpriority(static_cast<int>(which), who);
}

int kill(pid_t process, int signal) noexcept
{
    return calls::kill(process, signal);
}

pid_t waitpid(pid_t process, int* status, int options)
{
    return calls::waitpid(process, status, options);
}

int timer_create(clockid_t clock, sigevent* event, timer_t* timer) noexcept
{
    return calls::timer_create(clock, event, timer);
}

int timer_settime(timer_t timer, int flags, const itimerspec* value, itimerspec* oldValue) noexcept
{
    return calls::timer_settime(timer, flags, value, oldValue);
}

int timer_getoverrun(timer_t timer) noexcept
{
    return calls::timer_getoverrun(timer);
}

int timer_delete(timer_t timer) noexcept
{
    return calls::timer_delete(timer);
}
}
