/// \file
/// Event object: wait until another thread signals.
#ifndef GPAL_WAIT_H
#define GPAL_WAIT_H

#include <gpal/export.h>
#include <gpal/Semaphore.h>

/// What a client needs of an event object; tests substitute it.
class GPAL_API WaitIfc
{
public:
    virtual ~WaitIfc();

    /// Blocks until signalled. Returns 1. A cancellation point when it has to wait.
    virtual int wait() = 0;

    /// Blocks until signalled, for at most \p timeoutMs milliseconds (-1: without limit). Returns 1
    /// when signalled, 0 when the time ran out. A cancellation point when it has to wait.
    virtual int wait(int timeoutMs) = 0;

    /// Releases one waiting thread; with nobody waiting the signal is remembered, one at most, and
    /// the next wait consumes it. Returns 1. No cancellation point.
    virtual int signal() = 0;
};

/// Event object on a binary semaphore. Time limits, counters and the order of waiting threads are
/// those of `Semaphore::take`. All operations may be called from any thread.
///
/// A thread that is cancelled in `wait` stays counted as waiting. From then on a signal that finds
/// nobody else there is not taken by the next `wait`, which queues: it needs one signal more.
///
/// It is listed and dumped among the live semaphores, but a thread that ends after waiting does not
/// signal it.
class GPAL_API Wait : public WaitIfc, public Semaphore
{
public:
    Wait();
    ~Wait() override;

    int wait() override;
    int wait(int timeoutMs) override;
    int signal() override;

    /// Writes a dump to standard output, with the address of the whole object as its id.
    void displayInfo() override;

    /// Does nothing and returns 0: the semaphore interface of an event object is closed, so that
    /// nobody takes or gives it past `wait` and `signal`.
    int take(int timeoutMs) override;

    /// Does nothing and returns 0, like `take`.
    int give() override;
};

/// Where clients get their event objects from; tests substitute it.
class GPAL_API WaitFactoryIfc
{
public:
    virtual ~WaitFactoryIfc();

    /// A new event object, owned by the caller.
    virtual WaitIfc* getNewWait() = 0;
};

/// Makes `Wait` objects. Callable from any thread.
class GPAL_API WaitFactory : public WaitFactoryIfc
{
public:
    WaitIfc* getNewWait() override;
};

#endif
