/// \file
/// The process manager: turns priority levels and process types into nice values.
#ifndef GPAL_PROCESSMANAGER_H
#define GPAL_PROCESSMANAGER_H

#include <string>

#include <gpal/export.h>
#include <gpal/GPALThreadPriority.h>

class Process;
class Threadable;

/// Changes priorities on behalf of the process manager. Ids are kernel ids as `setpriority(2)`
/// takes them for PRIO_PROCESS: of a process, or of a single thread.
class GPAL_API PrioritySetter
{
public:
    virtual ~PrioritySetter();

    /// A thread was announced by name. Returns its nice value.
    virtual int setThreadPriority(std::string name, unsigned long threadId) = 0;

    /// A process of the given type was started. Returns its nice value.
    virtual int setProcessPriority(std::string type, int pid) = 0;

    /// Asks for a thread's nice value. Returns the one it has afterwards.
    virtual int requestThreadPriority(std::string name, unsigned long threadId, int niceValue) = 0;

    /// Asks for a process's nice value. Returns the one it has afterwards.
    virtual int requestProcessPriority(std::string type, int pid, int niceValue) = 0;
};

/// Sets nice values with `setpriority`. Failures are not examined: every operation returns what
/// `getpriority` reports afterwards, so -1 is a nice value or an error. Stateless, callable from
/// any thread, no cancellation points.
class GPAL_API SimplePrioritySetter : public PrioritySetter
{
public:
    /// Changes nothing.
    int setThreadPriority(std::string name, unsigned long threadId) override;

    /// Nice value 5 for the type `ProcessTypeString::PHONELET_LAUNCHER_PROCESS`, else 0.
    int setProcessPriority(std::string type, int pid) override;

    int requestThreadPriority(std::string name, unsigned long threadId, int niceValue) override;
    int requestProcessPriority(std::string type, int pid, int niceValue) override;
};

/// Is told of every thread and child process of the layer. Tests derive from it. Thread ids are
/// kernel ids, `removeThread`'s excepted. Has no lock of its own.
class GPAL_API ProcessManager
{
public:
    /// \p setter is not owned and must outlive the manager. Without one (null) nothing is set, and
    /// priorities that are asked for are answered with -1.
    explicit ProcessManager(PrioritySetter* setter);
    ProcessManager(const ProcessManager&) = delete;
    ProcessManager& operator=(const ProcessManager&) = delete;
    virtual ~ProcessManager();

    /// Announces a thread by its body: requests the nice value of the body's level. Returns 1
    /// whatever comes of it. Called on the thread itself; an exception terminates the process.
    virtual int addThread(Threadable& thread, int threadId);

    /// Announces a thread by name. Returns 1.
    virtual int addThread(int threadId, std::string name);

    /// A thread has ended. It is told the POSIX thread id, cut to an int, not the kernel id that
    /// `addThread` got. Does nothing and returns 0.
    virtual int removeThread(int threadId);

    /// Announces a child process that was just started. Returns 1.
    virtual int addProcess(Process& process);

    /// Requests the nice value of a level for a thread. Returns what the setter answers: the nice
    /// value that the thread has afterwards.
    virtual int requestNewPriority(int threadId, GPALThreadPriority priority);

    /// The nice value of a level: LOW 9, NORMAL 0, HIGH -10, TIMER -10, VOICE -16, any other 0.
    int calculatePriority(GPALThreadPriority priority);

private:
    PrioritySetter* m_setter;
};

/// Access to the process manager in force. Not locked: a replacement is set before other threads
/// use the layer, and removed after they have stopped.
class GPAL_API ProcessManagement
{
public:
    /// Does nothing; callers may initialise the subsystem with it.
    static void initialize();

    /// Puts \p manager, which is owned from now on, in force; one set before is not deleted.
    /// Returns the address of `m_testManager`.
    static ProcessManager** initialize(ProcessManager* manager);

    /// Deletes the manager that was set, if any; the default one is in force again.
    static void uninitialize();

    /// The manager in force: the one that was set, else the library's own on a
    /// `SimplePrioritySetter`. Never null.
    static ProcessManager* manager();

    /// The manager that was set; null for none.
    static ProcessManager* m_testManager;
};

#endif
