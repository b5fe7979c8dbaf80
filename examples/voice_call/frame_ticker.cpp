#include "frame_ticker.h"

#include <algorithm>

#include "rtp.h"

namespace voicecall
{

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;

TickTimer::TickTimer(OSTimerFactoryIfc& timers, WaitFactoryIfc& waits)
    : m_expired(waits.getNewWait()), m_timer(timers.getTimer())
{
}

void TickTimer::expireIn(int delayMs)
{
    // init sets the interval, start counts it from now.
    m_timer->init(this, delayMs);
    m_timer->start();
}

int TickTimer::timerExpired(osTimerIfc* /*timer*/)
{
    m_expired->signal();
    return 0;
}

FrameTicker::FrameTicker()
{
    OSTimerFactory timers;
    WaitFactory waits;
    for (std::unique_ptr<TickTimer>& timer : m_timers) {
        timer = std::make_unique<TickTimer>(timers, waits);
    }
}

void FrameTicker::start(int ticks)
{
    constexpr milliseconds FIRST_TICK_IN(60); // not below what a timer can do
    m_firstTick = Clock::now() + FIRST_TICK_IN;
    m_ticks = ticks;
    for (int tick = 0; tick < std::min(TIMERS, ticks); ++tick) {
        armForTick(tick);
    }
}

int FrameTicker::waitForTick()
{
    const int tick = m_nextTick++;
    timerOfTick(tick).wait();
    const auto late = duration_cast<microseconds>(Clock::now() - timeOfTick(tick));
    if (tick + TIMERS < m_ticks) {
        armForTick(tick + TIMERS);
    }
    return static_cast<int>(late.count());
}

FrameTicker::Clock::time_point FrameTicker::timeOfTick(int tick) const
{
    return m_firstTick + tick * milliseconds(FRAME_MS);
}

void FrameTicker::armForTick(int tick)
{
    const auto left = std::chrono::ceil<milliseconds>(timeOfTick(tick) - Clock::now());
    timerOfTick(tick).expireIn(static_cast<int>(left.count()));
}

} // namespace voicecall
