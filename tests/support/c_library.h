/// \file
/// What C libraries differ in, found out by a look at the one that the program runs with. Each look
/// gives "" where the C library can do it, and otherwise says what it can't.
#ifndef GPAL_TESTS_SUPPORT_C_LIBRARY_H
#define GPAL_TESTS_SUPPORT_C_LIBRARY_H

#include <arpa/inet.h>
#include <csignal>
#include <dlfcn.h>
#include <string>
#include <thread>
#include <time.h>
#include <unistd.h>

namespace support
{

inline bool exports(const char* symbol)
{
    return dlsym(RTLD_DEFAULT, symbol) != nullptr;
}

/// Where system calls are made in functions that the loader knows, walks go on from there.
inline std::string whyWaitsHaveNoName()
{
    return exports("__mips_syscall6") ? "" : "the C library waits in functions that have no names";
}

/// Whether each thread is a process of its own.
inline bool threadsAreProcesses()
{
    pid_t ofThread = 0;
    std::thread([&ofThread] { ofThread = getpid(); }).join();
    return ofThread != getpid();
}

/// Where threads are processes, it looks for a thread's own data by its stack pointer.
inline std::string whyHandlersNeedTheThreadsStack()
{
    return threadsAreProcesses() ? "the C library knows a thread by its stack pointer, and not in "
                                   "a handler with a stack of its own"
                                 : "";
}

/// The kernel lists the threads of a process that belong to it.
inline std::string whyAProcessHasOneThread()
{
    return threadsAreProcesses() ? "each thread is a process of its own" : "";
}

/// POSIX timers that expire on threads of the C library's own.
inline std::string whyNoNotificationThreads()
{
    timer_t timer{};
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD;
    event.sigev_notify_function = [](sigval) {};
    if (timer_create(CLOCK_REALTIME, &event, &timer) != 0) {
        return "the C library has no notification threads";
    }
    timer_delete(timer);
    return "";
}

inline std::string whyNoShortAddresses()
{
    in_addr address{};
    return inet_aton("127.1", &address) != 0 ? "" : "the C library takes four decimal numbers only";
}

inline std::string whyNoAddressIsUnknown()
{
    Dl_info found{};
    return dladdr(reinterpret_cast<void*>(-1L), &found) == 0
               ? ""
               : "the loader takes all that is behind a module for a part of it";
}

} // namespace support

/// Skips a test for the reason that a look gives, if it gives one.
#define GPAL_SKIP_BECAUSE(reason)                                                                  \
    do {                                                                                           \
        const std::string whyNot = (reason);                                                       \
        if (!whyNot.empty()) {                                                                     \
            GTEST_SKIP() << whyNot;                                                                \
        }                                                                                          \
    } while (false)

#endif
