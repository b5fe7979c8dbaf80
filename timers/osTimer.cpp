#include <gpal/osTimer.h>

#include <gpal/osThreadBasedTimer.h>

timeAble::~timeAble() = default;

osTimerIfc::~osTimerIfc() = default;

OSTimerFactoryIfc::~OSTimerFactoryIfc() = default;

osTimer::osTimer() : m_timer(new osThreadBasedTimer) {}

osTimer::osTimer(timeAble* callback, int intervalMs) : osTimer()
{
    m_timer->init(callback, intervalMs, this);
}

osTimer::~osTimer()
{
    delete m_timer;
}

int osTimer::init(timeAble* callback, int intervalMs)
{
    return m_timer->init(callback, intervalMs, this);
}

bool osTimer::start()
{
    return m_timer->start();
}

bool osTimer::stop()
{
    return m_timer->stop();
}

bool osTimer::isRunning()
{
    return m_timer->isRunning();
}

bool osTimer::reset()
{
    return m_timer->reset();
}

int osTimer::id()
{
    return m_timer->id();
}

osTimerIfc* OSTimerFactory::getTimer()
{
    return new osTimer;
}
