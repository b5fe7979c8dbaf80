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
    Work* next;
};

Work* works = nullptr;
Loan* loans = nullptr;
pthread_mutex_t worksMutex = PTHREAD_MUTEX_INITIALIZER; ///< guards the lists
pthread_cond_t changed = PTHREAD_COND_INITIALIZER;      ///< a lock was lent or given back

template <typename Entry>
void link(Entry*& list, Entry& entry)
{
    entry.next = list;
    list = &entry;
}

/// The thread sanitizer may have lost sight of the locks of a thread that was cancelled: it does
/// when that was in one of the calls that it wraps.
template <typename Entry>
__attribute__((no_sanitize("thread"))) void unlink(Entry*& list, const Entry& entry)
{
    Entry** place = &list;
    while (*place != &entry) {
        place = &(*place)->next;
    }
    *place = entry.next;
}

/// Has work listed for a scope.
class Listed
{
public:
    explicit Listed(Work& work) : m_work(work)
    {
        locked(worksMutex, [this] { link(works, m_work); });
    }
    Listed(const Listed&) = delete;
    Listed& operator=(const Listed&) = delete;
    ~Listed()
    {
        locked(worksMutex, [this] { unlink(works, m_work); });
    }

private:
    Work& m_work;
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

bool isLentTo(const Work& work, const Semaphore& lock)
{
    const Loan* loan = loans;
    while (loan != nullptr && (loan->timedThread != work.timedThread || loan->lock != &lock)) {
        loan = loan->next;
    }
    return loan != nullptr;
}

} // namespace

void runAsWorkOf(const TimedThreadIfc& timedThread, RunnerIfc& work)
{
    Work running{&timedThread, pthread_self(), nullptr};
    const Listed listed(running);
    const DestroyedIfCancelled whenCancelled(listed);
    work.run();
}

Loan::Loan(const TimedThreadIfc& borrower, const Semaphore& lent)
    : timedThread(&borrower), lock(&lent), next(nullptr)
{
    locked(worksMutex, [this] {
        link(loans, *this);
        pthread_cond_broadcast(&changed);
    });
}

Loan::~Loan()
{
    locked(worksMutex, [this] { unlink(loans, *this); });
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
        m_lent = isLentTo(*work, m_lock);
        while (!m_lent && m_lock.take(0) != Semaphore::AVAILABLE) {
            pthread_cond_wait(&changed, &worksMutex);
            m_lent = isLentTo(*work, m_lock);
        }
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
