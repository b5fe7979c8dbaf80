/// \file
/// The monitor's list of armed timers.
#ifndef GPAL_TIMERS_TIMERLIST_H
#define GPAL_TIMERS_TIMERLIST_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <pthread.h>
#include <time.h>
#include <vector>

#include "timers/TimerSlack.h"

class osThreadBasedTimer;

namespace gpal::detail
{

/// Armed timers in the order in which they were added. The monitor's mutex guards it; only its size
/// may be read without.
class TimerList
{
public:
    struct Entry {
        osThreadBasedTimer* timer;
        /// The timer is not due before, and need not be asked; {0, 0} for one that has not been
        /// asked since it was armed, or is to be asked in each pass.
        timespec notDueBefore;
    };

    /// Lists a timer that was armed, once; false if it was in the list already.
    bool add(osThreadBasedTimer* timer)
    {
        const auto found = std::find_if(m_timers.begin(), m_timers.end(), Is{timer});
        if (found != m_timers.end()) {
            found->notDueBefore = {};
            return false;
        }
        m_timers.push_back({timer, {}});
        publishSize();
        return true;
    }

    /// Takes out one timer, keeping the others in order; false if it is not in the list. Searched
    /// from the end, where the monitor serves and where timers are that were just armed.
    bool remove(const osThreadBasedTimer* timer)
    {
        const auto found = std::find_if(m_timers.rbegin(), m_timers.rend(), Is{timer});
        if (found == m_timers.rend()) {
            return false;
        }
        m_timers.erase(std::next(found).base());
        publishSize();
        return true;
    }

    void clear()
    {
        m_timers.clear();
        publishSize();
    }

    Entry& operator[](int index) { return m_timers[static_cast<std::size_t>(index)]; }

    /// For a scope, the calling thread holds the list and calls clients back.
    class Serving
    {
    public:
        explicit Serving(TimerList& list) : m_list(list) { m_list.m_servedBy = pthread_self(); }
        Serving(const Serving&) = delete;
        Serving& operator=(const Serving&) = delete;
        ~Serving() { m_list.m_servedBy = NOBODY; }

    private:
        TimerList& m_list;
    };

    /// Whether \p thread calls clients back. It can be asked without the list's lock by that
    /// thread.
    bool isServedBy(unsigned long thread) const
    {
        const unsigned long server = m_servedBy.load(std::memory_order_relaxed);
        return server == thread;
    }

    /// Beside the list, as the monitor's own object has no room for it; of its thread only.
    TimerSlack& slack() { return m_slack; }

    /// Whether the monitor's thread waits; in a child that was forked meanwhile that never ends.
    bool isWaitedFor() const { return m_isWaitedFor; }
    void setWaitedFor(bool isWaitedFor) { m_isWaitedFor = isWaitedFor; }

    int size() const { return m_size.load(std::memory_order_relaxed); }

private:
    static constexpr unsigned long NOBODY = 0;

    struct Is {
        const osThreadBasedTimer* timer;
        bool operator()(const Entry& entry) const { return entry.timer == timer; }
    };

    void publishSize()
    {
        m_size.store(static_cast<int>(m_timers.size()), std::memory_order_relaxed);
    }

    std::vector<Entry> m_timers;
    std::atomic<int> m_size{0};
    std::atomic<unsigned long> m_servedBy{NOBODY};
    TimerSlack m_slack;
    bool m_isWaitedFor = false;
};

} // namespace gpal::detail

#endif
