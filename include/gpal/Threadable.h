/// \file
/// Body of a thread.
#ifndef GPAL_THREADABLE_H
#define GPAL_THREADABLE_H

#include <string>

#include <gpal/export.h>

/// Something that runs on a thread of its own: derive, implement `run`, hand it to
/// `ThreaderIfc::spawn`. The spawner does not own it; it must outlive its thread, and the call of
/// `spawn` too, which stores the id in it when the thread may already have ended.
class GPAL_API Threadable
{
public:
    virtual ~Threadable();

    /// The thread's work; the thread ends when it returns. An exception that escapes is fatal to
    /// the device (`handleException`); `pthread_exit` and cancellation are ordinary ways to end.
    virtual void run() = 0;

    /// The thread's priority level, a `GPALThreadPriority` by value. Asked once, on the new thread,
    /// before `run`. Here: 1, `GPAL_THREAD_PRIORITY_NORMAL`.
    virtual int getThreadPriorityForPlatform();

    /// The thread's type as the process manager sees it. Asked once, on the new thread, before
    /// `run`. Here: `ProcessTypeString::GENERIC_THREAD`.
    virtual std::string type();

    /// POSIX thread id of the calling thread.
    static unsigned long currentThreadId();

    /// POSIX thread id of the thread that runs this body; 0 before it is spawned. It is stored by
    /// the spawning thread after the new one was created, so the body itself uses
    /// `currentThreadId()` in its first instructions. Callable from any thread.
    unsigned long threadId() const;

    /// Stores the id that `threadId()` returns; called by the spawner.
    void setThreadId(unsigned long threadId);

    /// Joins the thread that runs this body. Returns the result of `pthread_join`: 0 or an error
    /// number; ESRCH when it was never spawned. To be called once per thread. A cancellation point
    /// when it has to wait.
    int waitForThreadCompletion();

protected:
    unsigned long m_threadId = 0; ///< what `threadId()` returns
};

#endif
