/// \file
/// Counting semaphore, the layer's general lock and counter.
#ifndef GPAL_SEMAPHORE_H
#define GPAL_SEMAPHORE_H

#include <atomic>
#include <pthread.h>
#include <set>
#include <type_traits>

#include <gpal/export.h>
#include <gpal/semaphore_c_api.h>

namespace gpal::detail
{
class FieldsLock;
}

/// Counting semaphore with an optional upper bound, an optional reentrant mode and a time limit for
/// `take`. The layer's usual lock is `Semaphore(1, 1, false)` under a `CriticalSection`.
///
/// Every live semaphore is in a process-wide set, so that all can be dumped, and so that a thread
/// that ends while it owns one gives it back. All operations may be called from any thread, those
/// that follow destruction excepted: the last user must be through before the object goes. Threads
/// that are still blocked in `take` when the semaphore is destroyed are not woken. Without
/// memory, making one and dumps throw `std::bad_alloc`; `take` and `give` throw nothing: a waiting
/// thread that can't be listed is missing in dumps only.
///
/// A thread that is cancelled inside `take` releases the semaphore's locks but stays counted as
/// waiting. While a thread counts as waiting, `take` does not use a free unit at once but queues
/// until the next `give` signals it; likewise behind a thread whose time runs out at the moment in
/// which it is given a unit. Locks that can lose a waiter that way are best taken with cancellation
/// held off (`Threader::protectFromDestroy`) and without a time limit.
class GPAL_API Semaphore
{
public:
    static const int AVAILABLE = 1;     ///< result of `take`: a unit was obtained
    static const int NOT_AVAILABLE = 0; ///< result of `take`: the time ran out

    /// A semaphore with \p initialCount units and at most \p maxCount (-1: no bound); the initial
    /// count is taken as it is, above the bound too. A \p reentrant semaphore has the bound 1
    /// whatever is asked, and its owner may take it again without waiting.
    Semaphore(int initialCount, int maxCount, bool reentrant);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    /// In a forked child it waits for ever if another thread was making, destroying or dumping
    /// semaphores, or ending, at the fork: a child with static ones leaves by `_exit`.
    virtual ~Semaphore();

    /// Takes one unit. Threads that wait already come first: a free unit is not taken past them,
    /// and whoever comes while they wait goes on with a later `give` only, even if units are left
    /// then. The owner of a reentrant semaphore takes at once, driving the count below 0.
    ///
    /// \p timeoutMs limits each quiet interval, in milliseconds: -1 waits without limit, 0 and
    /// anything below -1 has passed already. Every wake-up that finds no unit starts the whole
    /// interval anew, so a busy semaphore can hold a caller longer. The time is measured on the
    /// wall clock. A cancellation point when no unit is to be had at once.
    ///
    /// Returns `AVAILABLE`, with the caller as owner, or `NOT_AVAILABLE` with nothing changed but
    /// the counters.
    virtual int take(int timeoutMs);

    /// Gives one unit and wakes one waiting thread. A unit above the bound is dropped. Any thread
    /// may give; ownership ends when the owner's own give brings the count above 0. Always returns
    /// 1. No cancellation point.
    virtual int give();

    /// Writes a dump to standard output: type, address, bound, count, owner, counters and the ids
    /// of waiting threads, one line each. A snapshot; other threads may be changing the figures.
    virtual void displayInfo();

    /// Dumps \p semaphore or, when it is null, every live semaphore in ascending order of address.
    static void info(Semaphore* semaphore);

    /// Gives back, once each, all ordinary semaphores (not those inside a `Wait`) that the thread
    /// owns. Called for every thread of the layer when it ends.
    static void threadExitSemaphoreCleanup(unsigned long threadId);

protected:
    /// \cond
    // What `Wait` is made of.

    /// A figure that changes under `m_stateMutex` and that dumps read without it.
    template <typename T>
    class Figure
    {
    public:
        explicit Figure(T value) : m_value(value) {}
        // NOLINTNEXTLINE(google-explicit-constructor): reads like the number that it is
        operator T() const { return m_value.load(std::memory_order_relaxed); }
        void operator=(T value) { m_value.store(value, std::memory_order_relaxed); }
        // Counts wrap, the signed ones too.
        void operator+=(T value) { *this = static_cast<T>(bits(*this) + bits(value)); }
        void operator-=(T value) { *this = static_cast<T>(bits(*this) - bits(value)); }

    private:
        static std::make_unsigned_t<T> bits(T value)
        {
            return static_cast<std::make_unsigned_t<T>>(value);
        }

        std::atomic<T> m_value;
    };

    /// Selects the constructor for the semaphore inside a `Wait`.
    enum WaitObject { WAIT_OBJECT };

    /// The closed binary semaphore of a `Wait`: no unit, bound 1, skipped when a thread ends. Not
    /// listed among the live ones before the `Wait` is complete and calls `enlist`.
    GPAL_INTERNAL explicit Semaphore(WaitObject);

    GPAL_INTERNAL void enlist(); ///< puts this one into the set of live semaphores
    GPAL_INTERNAL void delist(); ///< takes it out, if it is still in

    Figure<int> m_isWaitObject;
    Figure<int> m_count;
    int m_maxCount;
    Figure<int> m_waitingCount;
    Figure<unsigned long> m_owner;
    Figure<unsigned int> m_giveCount;
    Figure<unsigned int> m_takeCount;
    Figure<unsigned int> m_timeoutCount;
    bool m_reentrant;
    Figure<unsigned short> m_blockedCount; ///< waiting threads without those that were cancelled
    pthread_mutex_t m_waitersMutex;        ///< guards m_waitingThreads; taken inside m_stateMutex
    std::multiset<unsigned long> m_waitingThreads;
    pthread_mutex_t m_stateMutex; ///< guards the count, the owner and all counters
    pthread_cond_t m_available;
    /// \endcond

private:
    friend class gpal::detail::FieldsLock;

    GPAL_INTERNAL Semaphore(int initialCount, int maxCount, bool reentrant, int isWaitObject);

    /// A take and a give of one that is not reentrant, in one: the state's lock is held from
    /// `enter` to `leave`, for work of a few instructions that can't block, fail or be cancelled.
    /// `enter` returns false, with nothing changed, where `take` would have to wait; after `stay`,
    /// in place of `leave`, the caller has taken a unit as any other.
    GPAL_INTERNAL bool enter();
    GPAL_INTERNAL void leave();
    GPAL_INTERNAL void stay();

    GPAL_INTERNAL __attribute__((noinline)) int takeLater(int timeoutMs);
    GPAL_INTERNAL bool waitForUnit(unsigned long self, int timeoutMs);
    GPAL_INTERNAL bool waitForSignal(int timeoutMs);
    GPAL_INTERNAL void listWaiter(unsigned long thread);
    GPAL_INTERNAL void unlistWaiter(unsigned long thread);

    GPAL_INTERNAL static std::set<Semaphore*>* m_createdSemaphores;
    /// Guards m_createdSemaphores; taken before any semaphore's own locks, never while holding one.
    GPAL_INTERNAL static pthread_mutex_t m_createdListMutex;
};

#endif
