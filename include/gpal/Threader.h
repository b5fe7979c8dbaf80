/// \file
/// Spawning, cancelling, joining and detaching threads.
#ifndef GPAL_THREADER_H
#define GPAL_THREADER_H

#include <string>

#include <gpal/export.h>
#include <gpal/GPALThreadPriority.h>
#include <gpal/Threadable.h>

/// What a client needs of a thread spawner; tests substitute it.
///
/// Thread ids are POSIX thread ids. All operations may be called from any thread.
class GPAL_API ThreaderIfc
{
public:
    virtual ~ThreaderIfc();

    /// Runs \p body on a new joinable thread and stores its id in `*threadId` and in the body.
    /// \p name, \p priority and \p reserved are not used: the body describes itself through its
    /// `type()` and `getThreadPriorityForPlatform()`. The body stays the caller's.
    ///
    /// Returns false, with nothing created, when \p body or \p threadId is null; otherwise true,
    /// even if the thread could not be created: `*threadId` is then left as it was, and is stored
    /// in the body all the same. No cancellation point.
    virtual bool spawn(unsigned long* threadId, Threadable* body, std::string name,
                       GPALThreadPriority priority, int reserved) = 0;

    /// Requests the thread's cancellation. Returns true when the request was accepted. It takes
    /// effect at the thread's next cancellation point, where the thread's clean-up runs; the thread
    /// still has to be joined or detached. Where its stack is unwound, functions in it that were
    /// compiled without unwind tables end that: nothing is cleaned up. No cancellation point.
    virtual bool destroy(unsigned long threadId) = 0;

    /// Joins the thread. Returns the result of `pthread_join`: 0 or an error number, ESRCH for id
    /// 0. A cancellation point when it has to wait.
    virtual int waitForThreadCompletion(unsigned long threadId) = 0;
};

/// Spawns POSIX threads. Every thread is recorded in the thread registry and announced to the
/// process manager before its body runs, and is taken out of both, with every semaphore that it
/// still owns given back, when it ends, be it by return, `pthread_exit` or cancellation.
class GPAL_API Threader : public ThreaderIfc
{
public:
    bool spawn(unsigned long* threadId, Threadable* body, std::string name,
               GPALThreadPriority priority, int reserved) override;
    bool destroy(unsigned long threadId) override;
    int waitForThreadCompletion(unsigned long threadId) override;

    /// Runs `function(argument)` on a new joinable thread, stores its id in `*threadId` and gives
    /// the thread the priority level \p priority. The thread is announced under \p name or, when
    /// that is empty, under the type text of its level; \p reserved is not used. The function's
    /// result is dropped; an exception that escapes it terminates the process.
    ///
    /// Returns false, with nothing created, when \p function or \p threadId is null; otherwise
    /// true, even if the thread could not be created, which is reported on standard output only:
    /// `*threadId` is then left as it was. Without memory for what the thread starts with:
    /// `std::bad_alloc`, and nothing is created. No cancellation point.
    virtual bool spawn(unsigned long* threadId, void* (*function)(void*), void* argument,
                       std::string name, GPALThreadPriority priority, int reserved);

    /// Detaches the thread. Returns the result of `pthread_detach`: 0 or an error number, ESRCH
    /// for id 0. No cancellation point.
    int detach(unsigned long threadId);

    /// Holds cancellation of the calling thread off until `unProtectFromDestroy`. Returns the
    /// result of `pthread_setcancelstate`. The two do not nest. No cancellation point.
    static int protectFromDestroy();

    /// Permits cancellation of the calling thread again, however often it was protected. A
    /// cancellation point: one that was requested meanwhile takes effect in here.
    static void unProtectFromDestroy();

    /// Asks the process manager to give the thread (0: the calling one) the level \p priority.
    /// Returns whether the manager's answer equals the level. The default manager answers with a
    /// nice value, so with it the result is false even when the value was set. False also for a
    /// thread that the registry does not know, which leaves an entry without a kernel id behind: a
    /// thread that starts under that id later is not registered over it. No cancellation point of
    /// its own.
    static bool setThreadPriority(GPALThreadPriority priority, unsigned long threadId);
};

/// Where clients get their spawner from; tests substitute it.
class GPAL_API ThreaderFactoryIfc
{
public:
    virtual ~ThreaderFactoryIfc();

    /// A new spawner, owned by the caller.
    virtual ThreaderIfc* createNewThreader() = 0;
};

/// Makes `Threader` objects. Callable from any thread.
class GPAL_API ThreaderFactory : public ThreaderFactoryIfc
{
public:
    ThreaderIfc* createNewThreader() override;
};

extern "C" {

/// The exit clean-up of the layer's threads, for threads that others create: install it with
/// `pthread_cleanup_push`, with the address of the thread's id (an unsigned long) as argument. It
/// takes the thread out of the process manager and of the thread registry, then gives back once
/// every ordinary semaphore that the thread still owns. Cancellation is held off while it runs.
/// Nothing is done for a null pointer.
GPAL_API void threadExitCleanUp(void* threadIdPointer);
}

#endif
