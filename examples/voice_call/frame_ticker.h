/// \file
/// The clock of the call: one tick every 20 ms.
#ifndef VOICE_CALL_FRAME_TICKER_H
#define VOICE_CALL_FRAME_TICKER_H

#include <array>
#include <chrono>
#include <memory>

#include <gpal/osTimer.h>
#include <gpal/Wait.h>

namespace voicecall
{

/// A one-shot timer with an event that its expiry signals.
class TickTimer : public timeAble
{
public:
    TickTimer(OSTimerFactoryIfc& timers, WaitFactoryIfc& waits);
    TickTimer(const TickTimer&) = delete;
    TickTimer& operator=(const TickTimer&) = delete;
    ~TickTimer() override = default;

    /// Arms the idle timer.
    void expireIn(int delayMs);
    /// Waits until it has expired.
    void wait() { m_expired->wait(); }

    /// On the monitor's thread, with its locks held: it passes the event on and touches no timer.
    int timerExpired(osTimerIfc* timer) override;

private:
    // In this order: the timer is destroyed first, and does not call back afterwards.
    std::unique_ptr<WaitIfc> m_expired;
    std::unique_ptr<osTimerIfc> m_timer;
};

/// Ticks at a fixed schedule, each of them for one frame. For one thread, the one that sends.
///
/// The layer's timers are one-shot, counted from the moment at which they are armed, and take no
/// less than 50 ms, while a tick is due every 20 ms. So several timers take turns: each serves
/// every fourth tick. When its tick has been taken, it is armed again for the one that is 80 ms
/// later, with the interval from now to the time which the schedule, counted from the start of the
/// call, has for that tick. A late tick thereby shortens the interval that follows it: delays don't
/// add up. With four timers a tick may be late by 30 ms before that interval gets below 50 ms and
/// the next round is late too; three would leave 10 ms. Intervals are rounded up to whole
/// milliseconds, so that a tick comes up to 1 ms late but never early.
class FrameTicker
{
public:
    FrameTicker();

    /// Starts the schedule of \p ticks ticks; the first is due in 60 ms.
    void start(int ticks);

    /// Waits for the next tick. Returns how late it is, in microseconds.
    int waitForTick();

private:
    using Clock = std::chrono::steady_clock; // the monotonic clock, which the timers go by too

    static constexpr int TIMERS = 4;

    Clock::time_point timeOfTick(int tick) const;
    TickTimer& timerOfTick(int tick) { return *m_timers[static_cast<std::size_t>(tick % TIMERS)]; }
    void armForTick(int tick);

    std::array<std::unique_ptr<TickTimer>, TIMERS> m_timers;
    Clock::time_point m_firstTick;
    int m_ticks = 0;
    int m_nextTick = 0;
};

} // namespace voicecall

#endif
