// A class as an application has them: a thread, a timer, an event and a sleep.
#ifndef KEEP_ALIVE_H
#define KEEP_ALIVE_H

#include <atomic>
#include <functional>
#include <memory>

#include <gpal/GPALSleep.h>
#include <gpal/osTimer.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>
#include <gpal/Wait.h>

/// Reports to somebody, at regular intervals, that the telephone is alive. A report that fails is
/// tried again twice, after a short sleep each.
class KeepAlive : private Threadable, private timeAble
{
public:
    static constexpr int PAUSE_MS = 200; ///< before a report is tried again
    static constexpr int ATTEMPTS = 3;

    /// \p report returns whether it succeeded. The factories must outlive this object.
    KeepAlive(ThreaderFactoryIfc& threads, OSTimerFactoryIfc& timers, WaitFactoryIfc& waits,
              int intervalMs, std::function<bool()> report);
    KeepAlive(const KeepAlive&) = delete;
    KeepAlive& operator=(const KeepAlive&) = delete;
    /// Stops.
    ~KeepAlive() override;

    void start();
    void stop();

private:
    void run() override;
    int timerExpired(osTimerIfc* timer) override;
    void reportPersistently();

    std::unique_ptr<ThreaderIfc> m_threader;
    std::unique_ptr<osTimerIfc> m_timer;
    std::unique_ptr<WaitIfc> m_due;
    std::function<bool()> m_report;
    GPALSleep m_sleep;
    unsigned long m_thread = 0;
    std::atomic<bool> m_stopping{false};
};

#endif
