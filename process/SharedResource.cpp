#include <gpal/SharedResource.h>

#include <cstdarg>
#include <cstddef>

SharedResource::~SharedResource() = default;

int SharedResource::getSharedResourceKey(const char* path, int projectId)
{
    return ftok(path, projectId);
}

SharedMemory::~SharedMemory() = default;

int SharedMemory::create(int key, int size, int flags)
{
    return shmget(key, static_cast<std::size_t>(size), flags);
}

void* SharedMemory::attach(int id, const void* address, int flags)
{
    return shmat(id, address, flags);
}

int SharedMemory::detach(void* address)
{
    return shmdt(address);
}

int SharedMemory::control(int id, int command, shmid_ds* buffer)
{
    return shmctl(id, command, buffer);
}

SharedSemaphore::~SharedSemaphore() = default;

int SharedSemaphore::create(int key, int count, int flags)
{
    return semget(key, count, flags);
}

int SharedSemaphore::operation(int id, sembuf* operations, unsigned int count)
{
    return semop(id, operations, count);
}

int SharedSemaphore::timedOperation(int /*id*/, sembuf* /*operations*/, unsigned int /*count*/,
                                    timespec* /*timeout*/)
{
    return -1;
}

int SharedSemaphore::control(int id, int number, int command, ...)
{
    // The argument area itself is handed on, not the argument in it. Kept: it is part of the
    // interface.
    va_list arguments;
    va_start(arguments, command);
    const int result = semctl(id, number, command, arguments);
    va_end(arguments);
    return result;
}
