/// \file
/// The lock under which the processes of the device load libraries.
#ifndef GPAL_DIAGNOSTICS_LOADLOCK_H
#define GPAL_DIAGNOSTICS_LOADLOCK_H

namespace gpal::detail
{

/// Opens the semaphore set of the lock, or makes it, and returns its id. A failure is printed on
/// standard output; the result is then -1.
int openLoadLock();

/// Holds the lock for a scope. One that can't be taken is done without, and not given back.
class LoadLock
{
public:
    explicit LoadLock(int semaphoreId);
    LoadLock(const LoadLock&) = delete;
    LoadLock& operator=(const LoadLock&) = delete;
    ~LoadLock();

private:
    int m_semaphoreId;
    bool m_taken;
};

} // namespace gpal::detail

#endif
