#include <gpal/TimedThread.h>

#include <algorithm>
#include <memory>

#include "base/cancellation.h"
#include "base/walkable.h"
#include "cancelled.h"
#include "threads/timed_work.h"

using gpal::detail::DestroyedIfCancelled;
using gpal::detail::FactoryLock;

RunnerIfc::~RunnerIfc() = default;

TimedThreadIfc::~TimedThreadIfc() = default;

TimedThreadFactoryIfc::~TimedThreadFactoryIfc() = default;

TimedThread::TimedThread(RunnerIfc* runner, ThreaderIfc* threader, WaitFactoryIfc* waitFactory)
    : m_runner(runner),
      m_threader(threader),
      m_waitFactory(waitFactory),
      m_thread(0),
      m_completion(m_waitFactory->getNewWait())
{
}

TimedThread::~TimedThread()
{
    const gpal::detail::CancellationHeldOff untilJoined;
    if (m_thread != 0) {
        m_threader->destroy(m_thread);
        m_threader->waitForThreadCompletion(m_thread);
    }
    delete m_completion;
}

GPAL_WALKABLE void TimedThread::run()
{
    if (m_runner != nullptr) {
        gpal::detail::runAsWorkOf(*this, *m_runner);
    }
    m_completion->signal();
}

int TimedThread::getThreadPriorityForPlatform()
{
    return GPAL_THREAD_PRIORITY_LOW;
}

int TimedThread::runForAMaximumOf(int timeoutMs)
{
    m_threader->spawn(&m_thread, this, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    return waitForCompletion(timeoutMs);
}

void TimedThread::forceTimeoutToExpire()
{
    m_completion->signal();
}

int TimedThread::waitForCompletion(int timeoutMs)
{
    return m_completion->wait(timeoutMs);
}

TimedThreadFactory::TimedThreadFactory()
    : m_threader(std::make_unique<Threader>()),
      m_waitFactory(std::make_unique<WaitFactory>()),
      m_listLock(1, 1, false)
{
}

TimedThreadFactory::~TimedThreadFactory()
{
    const gpal::detail::CancellationHeldOff untilWaitedFor;
    TimedThreadFactory::killAllTimedThread();
}

TimedThreadIfc* TimedThreadFactory::getNewTimedThread(RunnerIfc* runner)
{
    const FactoryLock list(m_listLock);
    auto made = std::make_unique<TimedThread>(runner, m_threader.get(), m_waitFactory.get());
    m_timedThreads.push_back(made.get());
    return made.release();
}

bool TimedThreadFactory::deleteTimedThread(TimedThreadIfc* timedThread)
{
    if (timedThread == nullptr) {
        return false;
    }
    const FactoryLock list(m_listLock);
    const auto found = std::find(m_timedThreads.begin(), m_timedThreads.end(), timedThread);
    if (found == m_timedThreads.end()) {
        return false;
    }
    m_timedThreads.erase(found);
    const gpal::detail::Loan untilDeleted(*timedThread, m_listLock);
    delete timedThread;
    return true;
}

bool TimedThreadFactory::killAllTimedThread()
{
    constexpr int LAST_CHANCE_MS = 10000;
    const FactoryLock list(m_listLock);
    const DestroyedIfCancelled whenCancelled(list);
    for (TimedThreadIfc* timedThread : m_timedThreads) {
        timedThread->forceTimeoutToExpire();
        timedThread->waitForCompletion(LAST_CHANCE_MS);
    }
    return !m_timedThreads.empty();
}
