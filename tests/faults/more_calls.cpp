#include "faults/more_calls.h"

#include <atomic>
#include <cstdarg>
#include <fcntl.h>
#include <unistd.h>

namespace support::calls
{
namespace
{

Replaceable<int(pthread_mutex_t*)> realLock("pthread_mutex_lock");
Replaceable<int(pthread_mutex_t*)> realTryLock("pthread_mutex_trylock");
Replaceable<int(pthread_mutex_t*)> realUnlock("pthread_mutex_unlock");

} // namespace

Replaceable<int(const char*, int, mode_t)> open("open");
Replaceable<std::FILE*(const char*, const char*)> fopen64("fopen64");
Replaceable<ssize_t(int, void*, size_t)> read("read");
Replaceable<ssize_t(int, const void*, size_t)> write("write");
Replaceable<ssize_t(int, const iovec*, int)> writev("writev");
Replaceable<off64_t(int, off64_t, int)> lseek64("lseek64");
Replaceable<int(std::FILE*, const char*, va_list)> vfprintf("vfprintf");
Replaceable<int(std::FILE*, char*, int, size_t)> setvbuf("setvbuf");
Replaceable<int(int, int)> dup2("dup2");
Replaceable<int(int*)> pipe("pipe");
Replaceable<int(int, unsigned long)> prctl("prctl");
Replaceable<pid_t()> vfork("vfork");
Replaceable<int(const char*, char* const*, char* const*)> execve("execve");

} // namespace support::calls

namespace calls = support::calls;

namespace
{

std::atomic<int> held{0};

} // namespace

int faults::heldLocks()
{
    return held;
}

extern "C" {

int open(const char* path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return calls::open(path, flags, mode);
}

std::FILE* fopen64(const char* path, const char* mode)
{
    return calls::fopen64(path, mode);
}

ssize_t read(int descriptor, void* buffer, size_t size)
{
    return calls::read(descriptor, buffer, size);
}

ssize_t write(int descriptor, const void* data, size_t size)
{
    return calls::write(descriptor, data, size);
}

ssize_t writev(int descriptor, const iovec* pieces, int count)
{
    return calls::writev(descriptor, pieces, count);
}

off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept
{
    return calls::lseek64(descriptor, offset, whence);
}

// A variadic call can't be handed on as it is: these take the way of the other one.

int fprintf(std::FILE* stream, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = calls::vfprintf(stream, format, arguments);
    va_end(arguments);
    return result;
}

int printf(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = calls::vfprintf(stdout, format, arguments);
    va_end(arguments);
    return result;
}

int vfprintf(std::FILE* stream, const char* format, va_list arguments)
{
    return calls::vfprintf(stream, format, arguments);
}

int setvbuf(std::FILE* stream, char* buffer, int mode, size_t size) noexcept
{
    return calls::setvbuf(stream, buffer, mode, size);
}

int dup2(int from, int to) noexcept
{
    return calls::dup2(from, to);
}

int pipe(int* ends) noexcept
{
    return calls::pipe(ends);
}

int prctl(int option, ...) noexcept
{
    va_list arguments;
    va_start(arguments, option);
    const unsigned long argument = va_arg(arguments, unsigned long);
    va_end(arguments);
    return calls::prctl(option, argument);
}

// As a fork: nobody can return from a function that has called vfork.
pid_t vfork() noexcept
{
    return calls::vfork.isReplaced() ? calls::vfork() : fork();
}

int execve(const char* path, char* const* arguments, char* const* environment) noexcept
{
    return calls::execve(path, arguments, environment);
}

// Not for the thread sanitizer to watch, which locks mutexes before it is ready.

__attribute__((no_sanitize("thread"))) int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    const int result = calls::realLock.original(mutex);
    held += result == 0 ? 1 : 0;
    return result;
}

__attribute__((no_sanitize("thread"))) int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
{
    const int result = calls::realTryLock.original(mutex);
    held += result == 0 ? 1 : 0;
    return result;
}

__attribute__((no_sanitize("thread"))) int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    const int result = calls::realUnlock.original(mutex);
    held -= result == 0 ? 1 : 0;
    return result;
}
}
