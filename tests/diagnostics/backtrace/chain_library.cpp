#include "chain.h"

extern "C" __attribute__((noinline)) int chainThroughLibrary(int (*work)(void*), void* argument)
{
    const int result = work(argument);
    asm volatile("");
    return result;
}
