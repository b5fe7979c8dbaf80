/// \file
/// Work on a thread of its own, with a limit to how long the client waits for it.
#ifndef GPAL_TIMEDTHREAD_H
#define GPAL_TIMEDTHREAD_H

#include <memory>
#include <vector>

#include <gpal/export.h>
#include <gpal/Semaphore.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>
#include <gpal/Wait.h>

/// A piece of work, implemented by the client.
class GPAL_API RunnerIfc
{
public:
    virtual ~RunnerIfc();

    /// The work. An exception that escapes is fatal to the device (`handleException`).
    virtual void run() = 0;
};

/// What a client needs of a time-limited runner thread; tests substitute it. The operations may be
/// called from any thread.
class GPAL_API TimedThreadIfc
{
public:
    virtual ~TimedThreadIfc();

    /// Starts the work and waits for it for at most \p timeoutMs milliseconds (-1: without limit).
    /// Returns 1 when it completed in time or the wait was forced to end; 0 otherwise: the work
    /// goes on, nothing is cancelled or logged. Meant to be called once per object; a second call
    /// starts a second thread and forgets the first. A cancellation point when it has to wait.
    virtual int runForAMaximumOf(int timeoutMs) = 0;

    /// Lets a client that waits for completion return at once with 1; with nobody waiting, the next
    /// wait does. The work itself is not stopped. No cancellation point.
    virtual void forceTimeoutToExpire() = 0;

    /// Waits for completion for at most \p timeoutMs milliseconds (-1: without limit). Returns 1
    /// when it was signalled, 0 when the time ran out. A cancellation point when it has to wait.
    virtual int waitForCompletion(int timeoutMs) = 0;
};

/// Runs one `RunnerIfc` on a thread of its own.
class GPAL_API TimedThread : public Threadable, public TimedThreadIfc
{
public:
    /// None of the three is owned; \p threader and \p waitFactory must not be null, and all must
    /// outlive this object. A null \p runner is work that is done at once.
    TimedThread(RunnerIfc* runner, ThreaderIfc* threader, WaitFactoryIfc* waitFactory);
    TimedThread(const TimedThread&) = delete;
    TimedThread& operator=(const TimedThread&) = delete;

    /// Cancels and joins the thread, if one was started: it blocks until the work ends or reaches a
    /// cancellation point. Cancellation of the caller is held off meanwhile.
    ~TimedThread() override;

    /// The body of the new thread: the work, then the completion signal.
    void run() override;

    /// 0, `GPAL_THREAD_PRIORITY_LOW`.
    int getThreadPriorityForPlatform() override;

    int runForAMaximumOf(int timeoutMs) override;
    void forceTimeoutToExpire() override;
    int waitForCompletion(int timeoutMs) override;

private:
    RunnerIfc* m_runner;
    ThreaderIfc* m_threader;
    WaitFactoryIfc* m_waitFactory;
    unsigned long m_thread;
    WaitIfc* m_completion;
};

/// Where clients get their timed threads from; tests substitute it.
class GPAL_API TimedThreadFactoryIfc
{
public:
    virtual ~TimedThreadFactoryIfc();

    /// A new timed thread for \p runner, which is not owned. To be deleted with
    /// `deleteTimedThread`, before the factory. No cancellation point.
    virtual TimedThreadIfc* getNewTimedThread(RunnerIfc* runner) = 0;

    /// Deletes a timed thread that this factory made, cancelling and joining its thread: that lasts
    /// until the work ends or comes to a cancellation point. Returns false, with nothing done, for
    /// null and for an object that is not the factory's. A timed thread can't delete itself. No
    /// cancellation point.
    virtual bool deleteTimedThread(TimedThreadIfc* timedThread) = 0;

    /// Wakes every client that waits on a timed thread of this factory and gives each piece of work
    /// up to 10,000 ms to complete, one after the other. The timed threads stay. Returns false when
    /// there are none. A cancellation point while it waits for the work.
    virtual bool killAllTimedThread() = 0;
};

/// Makes `TimedThread` objects and keeps a list of them. The operations may be called from any
/// thread, the threads of the factory's own work included. They hold the list's lock,
/// `deleteTimedThread` and `killAllTimedThread` while they wait too, and wait for it with
/// cancellation held off.
class GPAL_API TimedThreadFactory : public TimedThreadFactoryIfc
{
public:
    TimedThreadFactory();
    TimedThreadFactory(const TimedThreadFactory&) = delete;
    TimedThreadFactory& operator=(const TimedThreadFactory&) = delete;

    /// Does `killAllTimedThread`, then forgets the timed threads without deleting them: those still
    /// alive must not be used or deleted any more. Cancellation of the caller is held off
    /// meanwhile.
    ~TimedThreadFactory() override;

    TimedThreadIfc* getNewTimedThread(RunnerIfc* runner) override;
    bool deleteTimedThread(TimedThreadIfc* timedThread) override;
    bool killAllTimedThread() override;

private:
    std::vector<TimedThreadIfc*> m_timedThreads;
    std::unique_ptr<ThreaderIfc> m_threader;
    std::unique_ptr<WaitFactoryIfc> m_waitFactory;
    Semaphore m_listLock;
};

#endif
