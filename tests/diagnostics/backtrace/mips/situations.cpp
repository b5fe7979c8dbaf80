// Where a thread stands when its stack is walked.
#include "situations.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <gpal/backtrace.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

// Something is left to do after each call, so that no call is the last thing a function does.
#define AFTER_THE_CALL() asm volatile("")

namespace
{

/// Not for the compiler to know.
void* volatile forbidden = nullptr;

/// Lets SIGALRM come as soon as the thread can be expected to wait.
void setAlarm()
{
    itimerval soon{};
    soon.it_value.tv_usec = 200000;
    setitimer(ITIMER_REAL, &soon, nullptr);
}

/// A page behind the end of its file.
void* pageWithoutFile()
{
    char name[] = "/tmp/gpal-test-XXXXXX";
    const int file = mkstemp(name);
    unlink(name);
    return mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
}

} // namespace

extern "C" {

// From a call.

__attribute__((noinline)) int HERE(call)(void*)
{
    show(get_backtrace(recorded, room));
    AFTER_THE_CALL();
    return 0;
}

int HERE(callAt)(void*)
{
    unsigned long pc = 0;
    unsigned long sp = 0;
    asm volatile(".set push; .set noreorder\n\t"
                 "bal 1f\n\t"
                 "nop\n"
                 "1: move %0, $31\n\t"
                 "move %1, $29\n\t"
                 ".set pop"
                 : "=&r"(pc), "=r"(sp)
                 :
                 : "$31");
    show(get_ret_addr(pc, sp, room, recorded));
    AFTER_THE_CALL();
    return 0;
}

__attribute__((noinline)) static int unnamed(void* argument)
{
    const int result = HERE(call)(argument);
    AFTER_THE_CALL();
    return result;
}

int HERE(throughUnnamed)(void* argument)
{
    const int result = unnamed(argument);
    AFTER_THE_CALL();
    return result;
}

// Frames are allocated in one step up to 32,752 bytes; some of them are the compiler's.

int HERE(throughLargestFrame)(void* argument)
{
    volatile char used[32752 - 64] = {};
    const int result = HERE(call)(argument);
    return result + used[0];
}

int HERE(throughTooLargeFrame)(void* argument)
{
    volatile char used[32752] = {};
    const int result = HERE(call)(argument);
    return result + used[0];
}

// From a handler: faults.

int HERE(framed)(void*)
{
    volatile int used[16] = {};
    *static_cast<volatile int*>(forbidden) = used[3];
    return used[4];
}

int HERE(busError)(void*)
{
    auto* page = static_cast<volatile char*>(pageWithoutFile());
    *page = 1;
    return 0;
}

int HERE(nullCall)(void* argument)
{
    int (*volatile nothing)(void*) = nullptr;
    const int result = nothing(argument);
    AFTER_THE_CALL();
    return result;
}

int HERE(callsLeaf)(void*)
{
    const int result = HERE(leaf)();
    AFTER_THE_CALL();
    return result;
}

int HERE(callsDelaySlot)(void*)
{
    const int result = HERE(delaySlot)();
    AFTER_THE_CALL();
    return result;
}

int HERE(inMemset)(void*)
{
    volatile std::size_t length = 100;
    std::memset(forbidden, 1, length);
    AFTER_THE_CALL();
    return 0;
}

// From a handler: signals that come while the thread works or waits.

int HERE(busy)(void*)
{
    volatile unsigned int turns = 0;
    setAlarm();
    for (;;) {
        turns = turns + 1;
    }
}

int HERE(inRead)(void*)
{
    int ends[2] = {};
    char byte = 0;
    if (pipe(ends) != 0) {
        return 1;
    }
    setAlarm();
    const ssize_t got = read(ends[0], &byte, 1);
    AFTER_THE_CALL();
    return static_cast<int>(got);
}

int HERE(inSleep)(void*)
{
    const timespec minute{60, 0};
    setAlarm();
    const int result = nanosleep(&minute, nullptr);
    AFTER_THE_CALL();
    return result;
}

int HERE(inPause)(void*)
{
    setAlarm();
    const int result = pause();
    AFTER_THE_CALL();
    return result;
}

int HERE(inReceive)(void*)
{
    int ends[2] = {};
    char byte = 0;
    if (socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) != 0) {
        return 1;
    }
    setAlarm();
    const ssize_t got = recvfrom(ends[0], &byte, 1, 0, nullptr, nullptr);
    AFTER_THE_CALL();
    return static_cast<int>(got);
}

int HERE(inSmallWrapper)(void*)
{
    int ends[2] = {};
    char byte = 0;
    if (socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) != 0) {
        return 1;
    }
    setAlarm();
    const int got = HERE(receive)(ends[0], &byte, 1, 0, nullptr, nullptr);
    AFTER_THE_CALL();
    return got;
}

int HERE(inKill)(void*)
{
    const int result = kill(getpid(), SIGUSR1);
    AFTER_THE_CALL();
    return result;
}
}
