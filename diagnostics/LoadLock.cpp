#include "diagnostics/LoadLock.h"

#include <cerrno>
#include <cstring>
#include <sys/ipc.h>
#include <sys/sem.h>

#include "base/console.h"

namespace gpal::detail
{
namespace
{

constexpr key_t KEY = 666;
constexpr int PERMISSIONS = 0666;

union SemaphoreArgument {
    int value;
    semid_ds* status;
    unsigned short* values;
};

void printFailure()
{
    const int error = errno;
    printToConsole("semgctl error: %d, %s\n", error, std::strerror(error));
}

/// Adds \p change to the semaphore; to be undone by the kernel when the process dies.
bool change(int semaphoreId, short change)
{
    sembuf operation{0, change, SEM_UNDO};
    int result = 0;
    do {
        result = semop(semaphoreId, &operation, 1);
    } while (result == -1 && errno == EINTR);
    return result != -1;
}

} // namespace

int openLoadLock()
{
    int id = semget(KEY, 1, IPC_CREAT | IPC_EXCL | PERMISSIONS);
    if (id != -1) {
        SemaphoreArgument free{};
        free.value = 1;
        if (semctl(id, 0, SETVAL, free) == -1) {
            printFailure();
        }
        return id;
    }
    id = semget(KEY, 1, PERMISSIONS);
    if (id == -1) {
        printFailure();
    }
    return id;
}

LoadLock::LoadLock(int semaphoreId) : m_semaphoreId(semaphoreId), m_taken(change(semaphoreId, -1))
{
}

LoadLock::~LoadLock()
{
    if (m_taken) {
        change(m_semaphoreId, 1);
    }
}

} // namespace gpal::detail
