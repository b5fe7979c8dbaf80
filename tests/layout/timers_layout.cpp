// Classes of the timers folder: virtual functions, fields and results.
#include "layout/layout.h"
#include <gpal/osPOSIXTimer.h>
#include <gpal/osThreadBasedTimer.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>

namespace layout
{

#pragma GCC diagnostic ignored "-Winvalid-offsetof"
template struct InOrder<
    osThreadBasedTimer, offsetof(osThreadBasedTimer, m_id), offsetof(osThreadBasedTimer, m_lock),
    offsetof(osThreadBasedTimer, m_callback), offsetof(osThreadBasedTimer, m_running),
    offsetof(osThreadBasedTimer, m_intervalMs), offsetof(osThreadBasedTimer, m_expiry),
    offsetof(osThreadBasedTimer, m_owner)>;
template struct InOrder<osTimerThread, offsetof(osTimerThread, m_threadId),
                        offsetof(osTimerThread, m_timers), offsetof(osTimerThread, m_mutex),
                        offsetof(osTimerThread, m_condition), offsetof(osTimerThread, m_now),
                        offsetof(osTimerThread, m_deadline), offsetof(osTimerThread, m_thread),
                        offsetof(osTimerThread, m_stopping), offsetof(osTimerThread, m_started)>;
template struct InOrder<osPOSIXTimer, offsetof(osPOSIXTimer, m_callback),
                        offsetof(osPOSIXTimer, m_timerId), offsetof(osPOSIXTimer, m_event),
                        offsetof(osPOSIXTimer, m_setting), offsetof(osPOSIXTimer, m_owner)>;

static_assert(sizeof(timeAble) == sizeof(void*) && sizeof(osTimerIfc) == sizeof(void*));
static_assert(sizeof(osTimer) == 2 * sizeof(void*));
static_assert(sizeof(OSTimerFactoryIfc) == sizeof(void*) &&
              sizeof(OSTimerFactory) == sizeof(void*));

static_assert(std::is_same_v<decltype(osThreadBasedTimer::nextID), unsigned int> &&
              std::is_same_v<decltype(osThreadBasedTimer::m_timerManager), osTimerThread*>);
using Timer = osThreadBasedTimer;
static_assert(std::is_same_v<decltype(&Timer::init), int (Timer::*)(timeAble*, int, osTimerIfc*)> &&
              std::is_same_v<decltype(&Timer::start), bool (Timer::*)()> &&
              std::is_same_v<decltype(&Timer::stop), bool (Timer::*)()> &&
              std::is_same_v<decltype(&Timer::isRunning), bool (Timer::*)()> &&
              std::is_same_v<decltype(&Timer::reset), bool (Timer::*)()> &&
              std::is_same_v<decltype(&Timer::id), int (Timer::*)() const>);
static_assert(
    std::is_same_v<decltype(&osPOSIXTimer::setInterval), int (osPOSIXTimer::*)(int, timespec*)> &&
    std::is_same_v<decltype(&osPOSIXTimer::setTimer),
                   bool (osPOSIXTimer::*)(itimerspec*, itimerspec*)>);

void timerSlots()
{
    inSlot<int (timeAble::*)(osTimerIfc*)>(&timeAble::timerExpired, 2);
    hasSlots<timeAble>(3);

    inSlot<int (osTimerIfc::*)(timeAble*, int)>(&osTimerIfc::init, 2);
    inSlot<bool (osTimerIfc::*)()>(&osTimerIfc::start, 3);
    inSlot<bool (osTimerIfc::*)()>(&osTimerIfc::stop, 4);
    inSlot<bool (osTimerIfc::*)()>(&osTimerIfc::isRunning, 5);
    inSlot<bool (osTimerIfc::*)()>(&osTimerIfc::reset, 6);
    inSlot<int (osTimerIfc::*)()>(&osTimerIfc::id, 7);
    hasSlots<osTimerIfc>(8);
    hasSlots<osTimer>(8);
    inSlot<osTimerIfc* (OSTimerFactoryIfc::*)()>(&OSTimerFactoryIfc::getTimer, 2);
    hasSlots<OSTimerFactoryIfc>(3);
    hasSlots<OSTimerFactory>(3);

    inSlot<bool (Timer::*)(timespec*, timespec*)>(&Timer::timerEvent, 2);
    hasSlots<osThreadBasedTimer>(3);
    inSlot<void (osTimerThread::*)()>(&osTimerThread::run, 2);
    inSlot<int (osTimerThread::*)()>(&osTimerThread::getThreadPriorityForPlatform, 3);
    inSlot<std::string (osTimerThread::*)()>(&osTimerThread::type, 4);
    hasSlots<osTimerThread>(5);
    hasOnlyItsDestructor<osPOSIXTimer>();
}

} // namespace layout
