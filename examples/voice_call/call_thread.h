/// \file
/// What the threads of a call have in common.
#ifndef VOICE_CALL_CALL_THREAD_H
#define VOICE_CALL_CALL_THREAD_H

#include <atomic>
#include <string>

#include <gpal/GPALThreadPriority.h>
#include <gpal/osTimerThread.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>
#include <gpal/Wait.h>

namespace voicecall
{

/// A thread as the report shows it.
struct ThreadFigures {
    std::string name;
    std::string level;
    int wantedNice = 0;
    int nice = 0;
    int kernelId = 0;
    unsigned long id = 0; ///< by which the layer's semaphores know their owners
};

/// Nice value and ids of a thread, as it tells them itself: what the kernel knows of it is gone
/// when it ends.
class ThreadIdentity
{
public:
    /// Takes those of the calling thread.
    void take();

    /// Nice value that the kernel has.
    int nice() const { return m_nice; }

    ThreadFigures figures(const std::string& name, GPALThreadPriority level) const;

private:
    std::atomic<int> m_nice{0};
    std::atomic<int> m_kernelId{0};
    std::atomic<unsigned long> m_id{0};
};

/// The process's timer monitor, which here also tells who it is.
class TimerMonitor : public osTimerThread
{
public:
    void run() override;
    ThreadFigures figures() const;

private:
    ThreadIdentity m_identity;
};

/// A thread of the call. An exception that escaped `work` would count as the failure of the whole
/// device, which the layer then reboots: nothing in there throws.
class CallThread : public Threadable
{
public:
    CallThread(std::string name, GPALThreadPriority level);

    /// Spawns the thread. Returns false when it does not run after a few seconds: the spawner's
    /// own result does not tell.
    bool start(ThreaderIfc& threader);
    /// Waits until `work` has returned; at once when it was never started.
    void join();

    ThreadFigures figures() const { return m_identity.figures(m_name, m_level); }

    void run() final;
    /// The layer asks for the level on the new thread and sets its nice value accordingly.
    int getThreadPriorityForPlatform() override { return m_level; }

private:
    virtual void work() = 0;

    const std::string m_name;
    const GPALThreadPriority m_level;
    ThreadIdentity m_identity;
    Wait m_started;
    bool m_running = false;
};

} // namespace voicecall

#endif
