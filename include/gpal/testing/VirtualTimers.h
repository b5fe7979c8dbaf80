/// \file
/// Timers on a clock that only the test moves.
#ifndef GPAL_TESTING_VIRTUALTIMERS_H
#define GPAL_TESTING_VIRTUALTIMERS_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <gpal/osTimer.h>

namespace gpal::testing
{

/// A factory of timers that expire in `advance` and at no other time; no monitor is needed. The
/// timers mean what the real ones mean: one-shot, 50 ms at least, in the list of armed timers from
/// `start` until they expire, are stopped or destroyed.
///
/// What would block the device's monitor for ever is refused, as a failure of the test that names
/// the timers: to start, stop, reset or destroy a timer in a callback, to ask there whether the
/// expiring timer is running, and to advance the clock there. Nothing is done then, but a timer
/// that is being destroyed leaves the list.
///
/// One peculiarity of the real monitor is left out: there, an expiry on a whole second of the clock
/// waits for the next wake-up.
///
/// May be used from any thread, `advance` by one at a time. Timers are the caller's, and may
/// outlive the factory.
class VirtualTimers : public OSTimerFactoryIfc
{
public:
    /// A new idle timer, owned by the caller. Ids run from 1 in each factory.
    osTimerIfc* getTimer() override { return new Timer(m_clock); }

    /// Lets \p ms milliseconds pass. Timers that become due call back in this thread, in the order
    /// of their expiries; of those due at the same moment, the one that was armed last comes first.
    /// (One that is armed anew with `start` while it is armed keeps its place; after `reset` it has
    /// been armed last.) An exception that leaves a callback leaves this function, its timer idle;
    /// on the device it would reboot.
    void advance(int ms) { m_clock->advance(ms); }

    /// Milliseconds that have passed since the factory was made; inside a callback, until its
    /// timer's expiry.
    long long now() const { return m_clock->now(); }

    /// How many timers are armed. Inside a callback its timer still counts.
    std::size_t armed() const { return m_clock->armed(); }

private:
    class Timer;

    /// The virtual counterpart of the monitor: its lock is held during callbacks, so that other
    /// threads wait for them. It is recursive: whoever holds it already is a callback.
    class Clock
    {
    public:
        using Guard = std::lock_guard<std::recursive_mutex>;

        void advance(int ms)
        {
            long long end = 0;
            {
                const Guard guard(mutex);
                if (refuses("advance()")) {
                    return;
                }
                end = m_now + std::max(ms, 0);
            }
            while (serveNext(end)) {
            }
            const Guard guard(mutex);
            m_now = end;
        }

        long long now() const
        {
            const Guard guard(mutex);
            return m_now;
        }

        std::size_t armed() const
        {
            const Guard guard(mutex);
            return m_armed.size();
        }

        bool contains(const Timer* timer) const
        {
            return std::find(m_armed.begin(), m_armed.end(), timer) != m_armed.end();
        }

        void add(Timer* timer)
        {
            if (!contains(timer)) {
                m_armed.push_back(timer);
            }
        }

        bool remove(const Timer* timer)
        {
            const auto found = std::find(m_armed.begin(), m_armed.end(), timer);
            const bool removed = found != m_armed.end();
            if (removed) {
                m_armed.erase(found);
            }
            return removed;
        }

        /// Fails the test if a callback is under way; returns whether one is.
        bool refuses(const std::string& call) const
        {
            if (!m_inCallback) {
                return false;
            }
            ADD_FAILURE() << call << " in the callback of timer " << m_expiring
                          << ": on the device this blocks the thread of all timers for ever. Hand "
                             "the event to another thread.";
            return true;
        }

        mutable std::recursive_mutex mutex;
        std::atomic<int> lastId{0};

    private:
        /// Marks a callback, for a scope, and drops its timer at the end.
        class Callback
        {
        public:
            Callback(Clock& clock, Timer& timer) : m_clock(clock), m_timer(&timer)
            {
                m_clock.m_inCallback = true;
                m_clock.m_expiring = timer.id();
                timer.isExpiring = true;
            }
            Callback(const Callback&) = delete;
            Callback& operator=(const Callback&) = delete;
            ~Callback()
            {
                m_clock.m_inCallback = false;
                if (m_clock.remove(m_timer)) { // else it was destroyed in its callback
                    m_timer->isExpiring = false;
                    m_timer->running = false;
                }
            }

        private:
            Clock& m_clock;
            Timer* m_timer;
        };

        /// Serves all timers with the earliest expiry, if that is not after \p end. Returns whether
        /// there were any.
        bool serveNext(long long end)
        {
            const Guard guard(mutex);
            const auto first = std::min_element(
                m_armed.begin(), m_armed.end(),
                [](const Timer* one, const Timer* other) { return one->expiry < other->expiry; });
            if (first == m_armed.end() || (*first)->expiry > end) {
                return false;
            }
            m_now = (*first)->expiry;
            for (std::size_t index = m_armed.size(); index > 0;
                 index = std::min(index, m_armed.size())) {
                --index;
                if (m_armed[index]->expiry <= m_now) {
                    serve(*m_armed[index]);
                }
            }
            return true;
        }

        void serve(Timer& timer)
        {
            const Callback callback(*this, timer);
            if (timer.callback != nullptr && timer.running) {
                timer.callback->timerExpired(&timer);
            }
        }

        std::vector<Timer*> m_armed; ///< in the order in which they were armed
        long long m_now = 0;
        bool m_inCallback = false;
        int m_expiring = -1;
    };

    class Timer : public osTimerIfc
    {
    public:
        explicit Timer(std::shared_ptr<Clock> clock) : m_clock(std::move(clock)) {}
        Timer(const Timer&) = delete;
        Timer& operator=(const Timer&) = delete;
        ~Timer() override
        {
            const Clock::Guard guard(m_clock->mutex);
            m_clock->refuses("destruction of " + name());
            m_clock->remove(this);
        }

        int init(timeAble* receiver, int intervalMs) override
        {
            constexpr int SHORTEST_INTERVAL_MS = 50;
            const Clock::Guard guard(m_clock->mutex);
            callback = receiver;
            running = false;
            m_intervalMs = std::max(intervalMs, SHORTEST_INTERVAL_MS);
            m_id = ++m_clock->lastId;
            return m_id;
        }

        bool start() override
        {
            const Clock::Guard guard(m_clock->mutex);
            if (m_clock->refuses("start() of " + name())) {
                return false;
            }
            arm();
            return true;
        }

        bool stop() override
        {
            const Clock::Guard guard(m_clock->mutex);
            return !m_clock->refuses("stop() of " + name()) && disarm();
        }

        bool isRunning() override
        {
            const Clock::Guard guard(m_clock->mutex);
            return !(isExpiring && m_clock->refuses("isRunning() of " + name())) && running;
        }

        bool reset() override
        {
            const Clock::Guard guard(m_clock->mutex);
            if (m_clock->refuses("reset() of " + name())) {
                return false;
            }
            if (disarm()) {
                arm();
            }
            return true;
        }

        int id() override { return m_id; }

        timeAble* callback = nullptr;
        bool running = false;
        bool isExpiring = false;
        long long expiry = 0;

    private:
        std::string name() { return "timer " + std::to_string(m_id); }

        void arm()
        {
            expiry = m_clock->now() + m_intervalMs;
            running = true;
            m_clock->add(this);
        }

        bool disarm()
        {
            running = false;
            return m_clock->remove(this);
        }

        std::shared_ptr<Clock> m_clock;
        std::atomic<int> m_id{-1};
        int m_intervalMs = 50;
    };

    std::shared_ptr<Clock> m_clock = std::make_shared<Clock>();
};

} // namespace gpal::testing

#endif
