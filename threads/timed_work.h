/// \file
/// How a timed thread gets at the list of its factory while the factory waits for it to end.
#ifndef GPAL_THREADS_TIMED_WORK_H
#define GPAL_THREADS_TIMED_WORK_H

#include <gpal/Semaphore.h>
#include <gpal/TimedThread.h>

namespace gpal::detail
{

/// Runs \p work on the calling thread, which is known to be that of \p timedThread meanwhile.
void runAsWorkOf(const TimedThreadIfc& timedThread, RunnerIfc& work);

/// For a scope, whoever holds \p lock deletes \p timedThread: its thread goes about as if it held
/// the lock itself, also when its work has not begun yet.
struct Loan {
    Loan(const TimedThreadIfc& borrower, const Semaphore& lent);
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    ~Loan();

    const TimedThreadIfc* timedThread;
    const Semaphore* lock;
    Loan* next;
};

/// Holds the lock of a factory's list for a scope, taken with cancellation held off.
///
/// The thread of a timed thread that is being deleted by the lock's holder does not wait for it:
/// the holder does nothing with the list before that thread has ended.
class FactoryLock
{
public:
    explicit FactoryLock(Semaphore& lock);
    FactoryLock(const FactoryLock&) = delete;
    FactoryLock& operator=(const FactoryLock&) = delete;
    ~FactoryLock();

private:
    Semaphore& m_lock;
    bool m_lent;
};

} // namespace gpal::detail

#endif
