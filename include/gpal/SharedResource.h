/// \file
/// System V shared memory and semaphore sets.
///
/// Thin wrappers: each operation passes its arguments to one system call and returns that call's
/// result, errors included (-1 or `(void*)-1`, with errno set). They create, attach and remove
/// nothing by themselves; kernel objects outlive the wrappers until they are removed with `control`
/// and IPC_RMID. Stateless, callable from any thread; no cancellation points.
#ifndef GPAL_SHAREDRESOURCE_H
#define GPAL_SHAREDRESOURCE_H

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <time.h>

#include <gpal/export.h>

/// Common root of the System V resources.
class GPAL_API SharedResource
{
public:
    virtual ~SharedResource();

    /// A key for `create`, from an existing file and a project id (`ftok(3)`); -1 on failure.
    static int getSharedResourceKey(const char* path, int projectId);
};

/// Shared memory segments.
class GPAL_API SharedMemory : public SharedResource
{
public:
    ~SharedMemory() override;

    /// `shmget(2)`: the id of the segment of \p size bytes with the key \p key.
    int create(int key, int size, int flags);
    /// `shmat(2)`: where the segment was attached; \p address null leaves the choice to the kernel.
    void* attach(int id, const void* address, int flags);
    /// `shmdt(2)`.
    int detach(void* address);
    /// `shmctl(2)`.
    int control(int id, int command, shmid_ds* buffer);
};

/// Semaphore sets.
class GPAL_API SharedSemaphore : public SharedResource
{
public:
    ~SharedSemaphore() override;

    /// `semget(2)`: the id of the set of \p count semaphores with the key \p key.
    int create(int key, int count, int flags);
    /// `semop(2)`: \p count operations. Blocks as they demand.
    int operation(int id, sembuf* operations, unsigned int count);
    /// Timed operations are not offered on this platform: always -1, errno untouched.
    int timedOperation(int id, sembuf* operations, unsigned int count, timespec* timeout);

    /// `semctl(2)` for the commands that take no fourth argument (IPC_RMID, GETVAL, ...). For
    /// others the kernel gets the address of this call's argument area in its place, not the
    /// argument itself, and reads or writes there; use `semctl` for those. Kept: it is part of the
    /// interface.
    int control(int id, int number, int command, ...);
};

#endif
