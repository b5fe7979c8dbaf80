#include <cstdio>

#include <gpal/gpal.h>

/// Hands each expiry to whoever waits: a callback itself must not touch any timer.
class Tick : public timeAble
{
public:
    int timerExpired(osTimerIfc*) override
    {
        m_expired.signal();
        return 0;
    }

    Wait m_expired;
};

int main()
{
    // One for the whole process, made before the first timer. It is never destroyed: timers go on
    // using it.
    static osTimerThread& monitor = *new osTimerThread;
    monitor.start();

    Tick tick;
    osTimer timer(&tick, 50); // shorter intervals are raised to 50 ms
    for (int count = 1; count <= 3; ++count) {
        timer.start(); // timers expire once: armed again here, on the application's own thread
        if (tick.m_expired.wait(1000) == 1) {
            std::printf("Tick %d\n", count);
        }
    }
}
