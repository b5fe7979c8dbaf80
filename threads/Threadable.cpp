#include <gpal/Threadable.h>

#include <cerrno>
#include <pthread.h>

#include <gpal/GPALThreadPriority.h>
#include <gpal/ProcessTypeString.h>

Threadable::~Threadable() = default;

int Threadable::getThreadPriorityForPlatform()
{
    return GPAL_THREAD_PRIORITY_NORMAL;
}

std::string Threadable::type()
{
    return ProcessTypeString::GENERIC_THREAD;
}

unsigned long Threadable::currentThreadId()
{
    return pthread_self();
}

// The id is stored by the spawning thread while the new one may be asking for it: both sides use
// atomic accesses. The member itself stays a plain one, so that bodies can be copied.

unsigned long Threadable::threadId() const
{
    return __atomic_load_n(&m_threadId, __ATOMIC_RELAXED);
}

void Threadable::setThreadId(unsigned long threadId)
{
    __atomic_store_n(&m_threadId, threadId, __ATOMIC_RELAXED);
}

int Threadable::waitForThreadCompletion()
{
    const unsigned long thread = threadId();
    return thread == 0 ? ESRCH : pthread_join(thread, nullptr);
}
