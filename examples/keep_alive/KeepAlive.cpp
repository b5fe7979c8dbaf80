#include "KeepAlive.h"

KeepAlive::KeepAlive(ThreaderFactoryIfc& threads, OSTimerFactoryIfc& timers, WaitFactoryIfc& waits,
                     int intervalMs, std::function<bool()> report)
    : m_threader(threads.createNewThreader()),
      m_timer(timers.getTimer()),
      m_due(waits.getNewWait()),
      m_report(std::move(report))
{
    m_timer->init(this, intervalMs);
}

KeepAlive::~KeepAlive()
{
    stop();
}

void KeepAlive::start()
{
    m_stopping = false;
    m_threader->spawn(&m_thread, this, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
}

void KeepAlive::stop()
{
    if (m_thread != 0) {
        m_stopping = true;
        m_due->signal();
        m_threader->waitForThreadCompletion(m_thread);
        m_thread = 0;
        m_timer->stop();
        m_due->wait(0); // a signal that the thread has not waited for is not the next one's
    }
}

void KeepAlive::run()
{
    while (!m_stopping) {
        m_timer->start(); // here, since a callback must not
        m_due->wait();
        if (!m_stopping) {
            reportPersistently();
        }
    }
}

// Runs on the thread of all timers: the work is for another.
int KeepAlive::timerExpired(osTimerIfc* /*timer*/)
{
    return m_due->signal();
}

void KeepAlive::reportPersistently()
{
    for (int attempt = 1; !m_report() && attempt < ATTEMPTS; ++attempt) {
        m_sleep.milliSleep(PAUSE_MS);
    }
}
