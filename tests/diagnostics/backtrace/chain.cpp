#include "chain.h"

#include <gpal/backtrace.h>

// Something is left to do after each call, so that no call is the last thing a function does.
#define AFTER_THE_CALL() asm volatile("")

extern "C" {

void* chainRecorded[64];

__attribute__((noinline)) int chainThird(int (*work)(void*), void* argument)
{
    const int result = work(argument);
    AFTER_THE_CALL();
    return result;
}

__attribute__((noinline)) int chainSecond(int (*work)(void*), void* argument)
{
    const int result = chainThird(work, argument);
    AFTER_THE_CALL();
    return result;
}

__attribute__((noinline)) int chainFirst(int (*work)(void*), void* argument)
{
    const int result = chainSecond(work, argument);
    AFTER_THE_CALL();
    return result;
}

__attribute__((noinline)) int chainLarge(int (*work)(void*), void* argument)
{
    volatile char room[3000];
    room[0] = 1;
    const int result = work(argument);
    room[2999] = room[0];
    return result;
}

__attribute__((noinline)) int chainLeaf(void* argument)
{
    *static_cast<volatile char*>(argument) = 1;
    return 0;
}

__attribute__((noinline)) int chainLargeLeaf(void* argument)
{
    volatile char room[3000];
    room[0] = 1;
    *static_cast<volatile char*>(argument) = room[0];
    return room[0];
}

__attribute__((noinline)) int chainNullCall(void* argument)
{
    int (*volatile nothing)(void*) = nullptr;
    const int result = nothing(argument);
    AFTER_THE_CALL();
    return result;
}

__attribute__((noinline)) int chainDeep(void* argument)
{
    int& left = *static_cast<int*>(argument);
    const bool deepest = left-- == 0;
    const int result = deepest ? get_backtrace(chainRecorded, 64) : chainDeep(argument);
    AFTER_THE_CALL();
    return result;
}
}
