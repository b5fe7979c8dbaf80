/// \file
/// C functions that a test may replace for the library under test.
///
/// Each test program defines these functions itself, so the dynamic linker binds the library's
/// calls to them. A call passes through to the C library unless a test has put something in its
/// place.
#ifndef GPAL_TESTS_SUPPORT_REPLACEABLE_H
#define GPAL_TESTS_SUPPORT_REPLACEABLE_H

#include <cstdarg>
#include <dlfcn.h>
#include <functional>
#include <pthread.h>
#include <signal.h>
#include <sys/types.h>
#include <time.h>

struct timeval;

namespace support
{

template <typename Signature>
class Replaceable;

/// One C function: what stands in for it, and the way to the real one.
template <typename Result, typename... Arguments>
class Replaceable<Result(Arguments...)>
{
public:
    using Function = std::function<Result(Arguments...)>;

    constexpr explicit Replaceable(const char* name) : m_name(name) {}

    Result operator()(Arguments... arguments)
    {
        const Function* replacement = __atomic_load_n(&m_replacement, __ATOMIC_ACQUIRE);
        return replacement != nullptr ? (*replacement)(arguments...) : original(arguments...);
    }

    // The next two are not for the thread sanitizer to watch: it calls a replaceable function
    // itself in threads that it has not set up yet.

    __attribute__((no_sanitize("thread"))) Result original(Arguments... arguments)
    {
        auto* found = __atomic_load_n(&m_original, __ATOMIC_RELAXED);
        if (found == nullptr) {
            found = reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, m_name));
            __atomic_store_n(&m_original, found, __ATOMIC_RELAXED);
        }
        return found(arguments...);
    }

    __attribute__((no_sanitize("thread"))) bool isReplaced() const
    {
        return __atomic_load_n(&m_replacement, __ATOMIC_ACQUIRE) != nullptr;
    }

    void replaceBy(const Function* replacement)
    {
        __atomic_store_n(&m_replacement, replacement, __ATOMIC_RELEASE);
    }

private:
    const char* m_name;
    const Function* m_replacement = nullptr;
    Result (*m_original)(Arguments...) = nullptr;
};

/// Replaces a function for a scope, which must outlast every thread that may be calling it.
template <typename Signature>
class Replacement
{
public:
    template <typename Body>
    Replacement(Replaceable<Signature>& replaced, Body body)
        : m_replaced(replaced), m_body(std::move(body))
    {
        m_replaced.replaceBy(&m_body);
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() { m_replaced.replaceBy(nullptr); }

private:
    Replaceable<Signature>& m_replaced;
    typename Replaceable<Signature>::Function m_body;
};

template <typename Signature, typename Body>
Replacement(Replaceable<Signature>&, Body) -> Replacement<Signature>;

/// The replaceable functions, by their own names.
namespace calls
{

extern Replaceable<int(const char*)> system; ///< unreplaced, "reboot" ends the test program
extern Replaceable<void(int, const char*, va_list)> vsyslog; ///< syslog passes here too

extern Replaceable<int(clockid_t, timespec*)> clock_gettime;
extern Replaceable<int(timeval*, void*)> gettimeofday;
extern Replaceable<int(const timespec*, timespec*)> nanosleep;
extern Replaceable<unsigned int(unsigned int)> sleep;

extern Replaceable<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)> pthread_create;
extern Replaceable<int(pthread_attr_t*)> pthread_attr_init;
extern Replaceable<int(pthread_cond_t*, pthread_mutex_t*)> pthread_cond_wait;
extern Replaceable<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> pthread_cond_timedwait;

extern Replaceable<int(int, id_t, int)> setpriority;
extern Replaceable<int(int, id_t)> getpriority;
extern Replaceable<int(pid_t, int)> kill;
extern Replaceable<pid_t(pid_t, int*, int)> waitpid;

extern Replaceable<int(clockid_t, sigevent*, timer_t*)> timer_create;
extern Replaceable<int(timer_t, int, const itimerspec*, itimerspec*)> timer_settime;
extern Replaceable<int(timer_t)> timer_getoverrun;
extern Replaceable<int(timer_t)> timer_delete;

} // namespace calls
} // namespace support

#endif
