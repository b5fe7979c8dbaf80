/// \file
/// The C functions with which libraries are loaded and the loading is locked, for a test to
/// replace.
#ifndef GPAL_TESTS_SUPPORT_IPC_CALLS_H
#define GPAL_TESTS_SUPPORT_IPC_CALLS_H

#include <sys/ipc.h>
#include <sys/sem.h>

#include "support/replaceable.h"

namespace support
{

/// The last argument of `semctl`.
union SemaphoreArgument {
    int value;
    void* buffer;
};

namespace calls
{

extern Replaceable<int(key_t, int, int)> semget;
extern Replaceable<int(int, int, int, SemaphoreArgument)> semctl;
extern Replaceable<int(int, sembuf*, size_t)> semop;
extern Replaceable<void*(const char*, int)> dlopen;
extern Replaceable<int(void*)> dlclose;

} // namespace calls
} // namespace support

#endif
