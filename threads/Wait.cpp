#include <gpal/Wait.h>

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
    gpal::detail::SemaphoreDump dump("Wait", this);
    dump.line("max count", m_maxCount);
    dump.line("current count", m_count);
    dump.line("current owner", static_cast<long long>(m_owner));
    dump.line("signal() count", m_giveCount);
    dump.line("wait() count", m_takeCount);
    dump.line("Number of threads waiting", m_waitingCount);
    gpal::detail::locked(m_waitersMutex, [&] { dump.threads(m_waitingThreads); });
    dump.write();
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
