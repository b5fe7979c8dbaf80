#include "support/ipc_calls.h"

#include <cstdarg>

namespace support::calls
{

Replaceable<int(key_t, int, int)> semget("semget");
Replaceable<int(int, int, int, SemaphoreArgument)> semctl("semctl");
Replaceable<int(int, sembuf*, size_t)> semop("semop");
Replaceable<void*(const char*, int)> dlopen("dlopen");
Replaceable<int(void*)> dlclose("dlclose");

} // namespace support::calls

namespace calls = support::calls;

extern "C" {

int semget(key_t key, int count, int flags) noexcept
{
    return calls::semget(key, count, flags);
}

int semctl(int id, int number, int command, ...) noexcept
{
    support::SemaphoreArgument argument{};
    if (command == SETVAL) {
        va_list arguments;
        va_start(arguments, command);
        argument = va_arg(arguments, support::SemaphoreArgument);
        va_end(arguments);
    }
    return calls::semctl(id, number, command, argument);
}

int semop(int id, sembuf* operations, size_t count) noexcept
{
    return calls::semop(id, operations, count);
}

void* dlopen(const char* library, int flags) noexcept
{
    return calls::dlopen(library, flags);
}

int dlclose(void* handle) noexcept
{
    return calls::dlclose(handle);
}
}
