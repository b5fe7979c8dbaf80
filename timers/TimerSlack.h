/// \file
/// How late the kernel may wake the monitor's thread.
#ifndef GPAL_TIMERS_TIMERSLACK_H
#define GPAL_TIMERS_TIMERSLACK_H

#include <sys/prctl.h>

namespace gpal::detail
{

/// The timer slack of a thread, as that thread sets it: the kernel may let an ordinary thread
/// oversleep by 50 us to save wake-ups, and voice ticks ride on the monitor. Threads and processes
/// inherit it, so clients are called with the usual one. Each change is a system call: most passes
/// of the monitor call nobody and need none.
class TimerSlack
{
public:
    void makeLeast() { set(true); }
    void makeUsual() { set(false); }

private:
    void set(bool least)
    {
        if (m_least != least) {
            prctl(PR_SET_TIMERSLACK, least ? 1UL : 0UL);
            m_least = least;
        }
    }

    bool m_least = false;
};

} // namespace gpal::detail

#endif
