#include <gpal/Wait.h>

#include "base/console.h"
#include "base/locked.h"
#include "threads/semaphore_dump.h"

WaitIfc::~WaitIfc() = default;

WaitFactoryIfc::~WaitFactoryIfc() = default;

// It is in the set of live semaphores only while it is a whole Wait, since another thread may dump
// everything in the set at any moment.

Wait::Wait() : Semaphore(WAIT_OBJECT)
{
    enlist();
}

Wait::~Wait()
{
    delist();
}

int Wait::wait()
{
    return wait(-1);
}

int Wait::wait(int timeoutMs)
{
    return Semaphore::take(timeoutMs);
}

int Wait::signal()
{
    return Semaphore::give();
}

void Wait::displayInfo()
{
    using namespace gpal::detail;
    writeToConsole(
        DUMP_RULE + dumpLine("Type", "Wait") + dumpLine("id", static_cast<const void*>(this)) +
        dumpLine("max count", m_maxCount) + dumpLine("current count", m_count) +
        dumpLine("current owner", m_owner) + dumpLine("signal() count", m_giveCount) +
        dumpLine("wait() count", m_takeCount) +
        dumpLine("Number of threads waiting", m_waitingCount) +
        locked(m_waitersMutex, [this] { return dumpThreads(m_waitingThreads); }) + DUMP_RULE);
}

int Wait::take(int /*timeoutMs*/)
{
    return 0;
}

int Wait::give()
{
    return 0;
}

WaitIfc* WaitFactory::getNewWait()
{
    return new Wait;
}
