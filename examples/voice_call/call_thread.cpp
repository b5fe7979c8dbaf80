#include "call_thread.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

#include <gpal/ProcessManager.h>

namespace voicecall
{
namespace
{

std::string nameOfLevel(GPALThreadPriority level)
{
    switch (level) {
    case GPAL_THREAD_PRIORITY_LOW:
        return "LOW";
    case GPAL_THREAD_PRIORITY_NORMAL:
        return "NORMAL";
    case GPAL_THREAD_PRIORITY_HIGH:
        return "HIGH";
    case GPAL_THREAD_PRIORITY_TIMER:
        return "TIMER";
    case GPAL_THREAD_PRIORITY_VOICE:
        return "VOICE";
    }
    return "?";
}

} // namespace

void ThreadIdentity::take()
{
    // On Linux, id 0 is the calling thread and not its whole process.
    m_nice = getpriority(PRIO_PROCESS, 0);
    m_kernelId = static_cast<int>(syscall(SYS_gettid));
    m_id = Threadable::currentThreadId();
}

ThreadFigures ThreadIdentity::figures(const std::string& name, GPALThreadPriority level) const
{
    const int wanted = ProcessManagement::manager()->calculatePriority(level);
    return {name, nameOfLevel(level), wanted, m_nice, m_kernelId, m_id};
}

void TimerMonitor::run()
{
    m_identity.take();
    osTimerThread::run();
}

ThreadFigures TimerMonitor::figures() const
{
    return m_identity.figures("timer monitor", GPAL_THREAD_PRIORITY_TIMER);
}

CallThread::CallThread(std::string name, GPALThreadPriority level)
    : m_name(std::move(name)), m_level(level)
{
}

bool CallThread::start(ThreaderIfc& threader)
{
    constexpr int LONG_ENOUGH_MS = 5000;
    // Name and level are for threads without a body of their own; here the layer asks the body.
    unsigned long thread = 0;
    threader.spawn(&thread, this, "", m_level, 0);
    m_running = m_started.wait(LONG_ENOUGH_MS) == 1;
    return m_running;
}

void CallThread::join()
{
    if (m_running) {
        waitForThreadCompletion();
        m_running = false;
    }
}

void CallThread::run()
{
    m_identity.take(); // the layer set the nice value before it called run
    m_started.signal();
    work();
}

} // namespace voicecall
