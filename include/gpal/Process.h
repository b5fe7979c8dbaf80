/// \file
/// Child processes.
#ifndef GPAL_PROCESS_H
#define GPAL_PROCESS_H

#include <string>

#include <gpal/export.h>
#include <gpal/GPALException.h>

/// Failure of starting, signalling or awaiting a child process. Thrown by value.
class GPAL_API GPALProcessException : public GPALException
{
public:
    explicit GPALProcessException(const std::string& message);    ///< with this message
    GPALProcessException(const GPALProcessException&);            ///< copied, as it is thrown
    GPALProcessException& operator=(const GPALProcessException&); ///< takes over the message
    ~GPALProcessException();

    const std::string& message() const; ///< which of the texts that the operations name
    const char* what() const;           ///< the message; valid as long as the exception

private:
    std::string m_message;
};

/// What a client needs of a child process; tests substitute it. One object is used by one thread at
/// a time.
class GPAL_API ProcessIfc
{
public:
    virtual ~ProcessIfc();

    /// Starts the program `argv[0]` with the null-terminated argument vector \p argv and
    /// environment \p envp, in the caller's directory, with its descriptors and signal mask, and
    /// announces the child to the process manager. \p argc and \p extra are not used. Starting an
    /// object twice starts a second child and forgets the first.
    ///
    /// Returns the manager's answer, 1. Throws `GPALProcessException`, after logging at error
    /// severity: "GPAL Process missing application" (the file cannot be examined), "GPAL Process
    /// application not executable" (no execute bit for owner and group; that for others does not
    /// count), "GPAL Process creation failure" (`vfork` failed). The object then has no child of
    /// this call, and errno is as the failing call set it. An exception of the manager, or for want
    /// of memory, passes; a child that was started by then is the object's. A failing `execve`
    /// shows only as exit code 255 of the child. A null \p argv or `argv[0]` is a missing
    /// application, a null \p envp an empty environment. A cancellation point only where it logs a
    /// failure.
    virtual int start(int argc, char** argv, char** envp, char* extra) = 0;

    /// Waits for the child's end. Returns its exit code, 0 to 255; -1 when a signal ended it; 0
    /// when there is no such child, because it was reaped already. Throws "GPAL Process exception"
    /// on any other failure. A never-started object waits for any child of the caller's process
    /// group. A cancellation point.
    virtual int waitForExit() = 0;

    /// Sends SIGKILL. Returns -1 when the signal was sent: deliberately a constant that callers do
    /// not read as a failure. Throws "GPAL Process cannot kill process" (EPERM), "GPAL Process
    /// unknown process" (ESRCH) or "GPAL Process exception". A never-started object sends its
    /// signals to the caller's whole process group, the caller included, which SIGKILL ends. No
    /// cancellation point.
    virtual int destroy() = 0;

    /// Sends SIGUSR2; result and exceptions as for `destroy`.
    virtual int sigusr2() = 0;

    /// Sends SIGUSR1; result and exceptions as for `destroy`.
    virtual int sigusr1() = 0;

    /// `ProcessTypeString::GENERIC_PROCESS`, or the program's path once `start` got past its
    /// checks.
    virtual std::string type() = 0;

    /// The child's process id; 0 before a successful `start`.
    virtual int ID() = 0;

    /// Whether the child exists and may be signalled; true for one that ended and was not reaped,
    /// and for a never-started object, whose id 0 means the caller's process group. No cancellation
    /// point.
    virtual bool isRunning() = 0;
};

/// One child process.
class GPAL_API Process : public ProcessIfc
{
public:
    /// Nothing started.
    Process();
    /// Starts the program at once; an exception from `start` leaves the constructor.
    Process(int argc, char** argv, char** envp, char* extra);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Sends SIGTERM to a child that is still there, also to one that ended and was not reaped;
    /// tries at once, and only once, to reap it; and sleeps for two seconds, or until a signal
    /// handler runs: one for SIGCHLD does when the child ends. A child that ends after that one try
    /// stays a zombie until the application reaps it; one that ignores SIGTERM goes on running. One
    /// that SIGTERM cannot be sent to gets up to four seconds and then SIGKILL. Does nothing for a
    /// never-started object or a child that is gone.
    ///
    /// Logs "Process (pid:%d) was not deleted correctly\n" at error severity when reaping fails,
    /// and also when it succeeds, unless errno is ECHILD: the line tells of no failure by itself.
    /// Throws nothing; cancellation of the caller is held off meanwhile.
    ~Process() override;

    int start(int argc, char** argv, char** envp, char* extra) override;
    int waitForExit() override;
    int destroy() override;
    int sigusr2() override;
    int sigusr1() override;
    std::string type() override;
    int ID() override;
    bool isRunning() override;

    /// Turns the result of `kill`, with errno still as it left it, into that of a signalling
    /// operation: -1, or an exception (see `destroy`). Only -1 is a failure.
    int processResult(int killResult);

private:
    int m_pid;
    std::string m_type;
};

/// Where clients get their processes from; tests substitute it.
class GPAL_API ProcessFactoryIfc
{
public:
    virtual ~ProcessFactoryIfc();

    /// A new process object with nothing started, owned by the caller.
    virtual ProcessIfc* getProcess() = 0;

    /// Deletes \p process; null is ignored.
    virtual void destroy(ProcessIfc* process) = 0;
};

/// Makes `Process` objects. Callable from any thread.
class GPAL_API ProcessFactory : public ProcessFactoryIfc
{
public:
    ProcessIfc* getProcess() override;
    void destroy(ProcessIfc* process) override;
};

#endif
