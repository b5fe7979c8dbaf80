/// \file
/// The monitor's list of armed timers.
#ifndef GPAL_TIMERS_TIMERLIST_H
#define GPAL_TIMERS_TIMERLIST_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <vector>

class osThreadBasedTimer;

namespace gpal::detail
{

/// Armed timers in the order in which they were added. The monitor's mutex guards it; only its size
/// may be read without.
class TimerList
{
public:
    bool contains(const osThreadBasedTimer* timer) const
    {
        return std::find(m_timers.begin(), m_timers.end(), timer) != m_timers.end();
    }

    void append(osThreadBasedTimer* timer)
    {
        m_timers.push_back(timer);
        publishSize();
    }

    /// Takes out one timer, keeping the others in order; false if it is not in the list.
    bool remove(const osThreadBasedTimer* timer)
    {
        const auto found = std::find(m_timers.begin(), m_timers.end(), timer);
        if (found == m_timers.end()) {
            return false;
        }
        m_timers.erase(found);
        publishSize();
        return true;
    }

    void clear()
    {
        m_timers.clear();
        publishSize();
    }

    osThreadBasedTimer* operator[](std::size_t index) const { return m_timers[index]; }

    int size() const { return m_size.load(std::memory_order_relaxed); }

private:
    void publishSize()
    {
        m_size.store(static_cast<int>(m_timers.size()), std::memory_order_relaxed);
    }

    std::vector<osThreadBasedTimer*> m_timers;
    std::atomic<int> m_size{0};
};

} // namespace gpal::detail

#endif
