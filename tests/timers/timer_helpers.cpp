#include "timers/timer_helpers.h"

#include <cstdio>

#include "support/per_thread.h"
#include "support/plain_thread.h"
#include "support/replaceable.h"

namespace calls = support::calls;

namespace timertest
{
namespace
{

support::PerThread<Monitor> monitorOfThread;

void sleepMilliseconds(long milliseconds)
{
    const timespec time{0, milliseconds * 1000000};
    calls::nanosleep.original(&time, nullptr);
}

time_t realSeconds()
{
    timespec now{};
    calls::clock_gettime.original(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

} // namespace

bool soon(const std::function<bool()>& condition)
{
    constexpr time_t PATIENCE_SECONDS = 10;
    const time_t start = realSeconds();
    while (!condition()) {
        if (realSeconds() - start > PATIENCE_SECONDS) {
            return condition();
        }
        sleepMilliseconds(1);
    }
    return true;
}

void allowForMistakes()
{
    sleepMilliseconds(20);
}

std::string text(const timespec& time)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%ld.%09ld", static_cast<long>(time.tv_sec),
                  static_cast<long>(time.tv_nsec));
    return buffer;
}

std::string text(const itimerspec& setting)
{
    return text(setting.it_value) + " every " + text(setting.it_interval);
}

int Receiver::timerExpired(osTimerIfc* timer)
{
    if (m_during) {
        m_during(timer);
    }
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_owners.push_back(timer);
    m_lastThread = pthread_self();
    return m_result;
}

std::vector<osTimerIfc*> Receiver::owners() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_owners;
}

pthread_t Receiver::lastThread() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_lastThread;
}

void Gate::enter()
{
    m_occupied = true;
    soon([this] { return m_open.load(); });
}

void Monitor::run()
{
    monitorOfThread.set(this);
    pthread_cleanup_push([](void* ended) { *static_cast<std::atomic<bool>*>(ended) = true; },
                         &m_ended);
    osTimerThread::run();
    pthread_cleanup_pop(1);
}

bool Monitor::isCurrentThread()
{
    return monitorOfThread.get() != nullptr;
}

bool completesWhenCancelled(const std::function<void()>& body)
{
    support::PlainThread thread([&body] {
        pthread_cancel(pthread_self());
        body();
    });
    thread.join(); // whatever the clocks say meanwhile
    return thread.wasCancelledOnlyAtItsEnd();
}

} // namespace timertest
