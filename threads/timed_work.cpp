#include "threads/timed_work.h"

#include <pthread.h>

#include "base/cancellation.h"
#include "base/locked.h"

namespace gpal::detail
{
namespace
{

/// Work that is going on; stands on the stack of its thread.
struct Work {
    const TimedThreadIfc* timedThread;
    pthread_t thread;
    const Semaphore* lent; ///< the lock of the factory that deletes the timed thread, or null
    Work* next;
};

Work* works = nullptr;
pthread_mutex_t worksMutex = PTHREAD_MUTEX_INITIALIZER; ///< guards the list and what is in it
pthread_cond_t changed = PTHREAD_COND_INITIALIZER;      ///< a lock was lent or given back

/// Has work listed for a scope.
class Listed
{
public:
    explicit Listed(Work& work) : m_work(&work)
    {
        locked(worksMutex, [this] {
            m_work->next = works;
            works = m_work;
        });
    }
    Listed(const Listed&) = delete;
    Listed& operator=(const Listed&) = delete;
    /// The thread sanitizer may have lost sight of the locks of a thread that was cancelled: it
    /// does when that was in one of the calls that it wraps.
    ~Listed()
    {
        locked(
            worksMutex, [this]() __attribute__((no_sanitize("thread"))) {
                Work** place = &works;
                while (*place != m_work) {
                    place = &(*place)->next;
                }
                *place = m_work->next;
            });
    }

private:
    Work* m_work;
};

const Work* workOfThisThread()
{
    return locked(worksMutex, [self = pthread_self()]() -> const Work* {
        const Work* work = works;
        while (work != nullptr && pthread_equal(work->thread, self) == 0) {
            work = work->next;
        }
        return work;
    });
}

} // namespace

void runAsWorkOf(const TimedThreadIfc& timedThread, RunnerIfc& work)
{
    Work running{&timedThread, pthread_self(), nullptr, nullptr};
    const Listed listed(running);
    const DestroyedIfCancelled whenCancelled(listed);
    work.run();
}

void lendTo(const TimedThreadIfc& timedThread, const Semaphore& lock)
{
    locked(worksMutex, [&] {
        for (Work* work = works; work != nullptr; work = work->next) {
            if (work->timedThread == &timedThread) {
                work->lent = &lock;
            }
        }
        pthread_cond_broadcast(&changed);
    });
}

FactoryLock::FactoryLock(Semaphore& lock) : m_lock(lock), m_lent(false)
{
    const CancellationHeldOff whileWaiting;
    const Work* const work = workOfThisThread();
    if (work == nullptr) {
        m_lock.take(-1);
        return;
    }
    // Not in the lock's own queue, which can't be left for a loan.
    locked(worksMutex, [this, work] {
        while (work->lent != &m_lock && m_lock.take(0) != Semaphore::AVAILABLE) {
            pthread_cond_wait(&changed, &worksMutex);
        }
        m_lent = work->lent == &m_lock;
    });
}

FactoryLock::~FactoryLock()
{
    if (m_lent) {
        return;
    }
    m_lock.give();
    locked(worksMutex, [] { pthread_cond_broadcast(&changed); });
}

} // namespace gpal::detail
