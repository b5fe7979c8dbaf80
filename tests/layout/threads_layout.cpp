// Classes of the threads folder: virtual functions, fields and results.
#include <exception>
#include <set>

#include "layout/layout.h"
#include "threads/thread_start.h"
#include <gpal/CriticalSection.h>
#include <gpal/GPALException.h>
#include <gpal/GPALMutex.h>
#include <gpal/GPALSleep.h>
#include <gpal/OSWrappers.h>
#include <gpal/Semaphore.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>
#include <gpal/TimedThread.h>
#include <gpal/Wait.h>

namespace layout
{

#pragma GCC diagnostic ignored "-Winvalid-offsetof"
template struct InOrder<Semaphore, offsetof(Semaphore, m_isWaitObject),
                        offsetof(Semaphore, m_count), offsetof(Semaphore, m_maxCount),
                        offsetof(Semaphore, m_waitingCount), offsetof(Semaphore, m_owner),
                        offsetof(Semaphore, m_giveCount), offsetof(Semaphore, m_takeCount),
                        offsetof(Semaphore, m_timeoutCount), offsetof(Semaphore, m_reentrant),
                        offsetof(Semaphore, m_waitersMutex), offsetof(Semaphore, m_waitingThreads),
                        offsetof(Semaphore, m_stateMutex), offsetof(Semaphore, m_available)>;
template struct InOrder<GPALSleep, offsetof(GPALSleep, m_impl), offsetof(GPALSleep, m_default)>;
template struct InOrder<TimedThread, offsetof(TimedThread, m_threadId),
                        offsetof(TimedThread, m_runner), offsetof(TimedThread, m_threader),
                        offsetof(TimedThread, m_waitFactory), offsetof(TimedThread, m_thread),
                        offsetof(TimedThread, m_completion)>;
template struct InOrder<TimedThreadFactory, offsetof(TimedThreadFactory, m_timedThreads),
                        offsetof(TimedThreadFactory, m_threader),
                        offsetof(TimedThreadFactory, m_waitFactory),
                        offsetof(TimedThreadFactory, m_listLock)>;
using gpal::detail::ThreadStartBlock;
template struct InOrder<ThreadStartBlock, offsetof(ThreadStartBlock, function),
                        offsetof(ThreadStartBlock, priority), offsetof(ThreadStartBlock, argument),
                        offsetof(ThreadStartBlock, name)>;

// No fields, or none of their own.
static_assert(sizeof(ThreaderIfc) == sizeof(void*) && sizeof(Threader) == sizeof(void*));
static_assert(sizeof(ThreaderFactoryIfc) == sizeof(void*) &&
              sizeof(ThreaderFactory) == sizeof(void*));
static_assert(sizeof(WaitIfc) == sizeof(void*));
struct WaitWithoutFields : WaitIfc, Semaphore {
    using Semaphore::Semaphore;
};
static_assert(sizeof(Wait) == sizeof(WaitWithoutFields));
static_assert(sizeof(WaitFactoryIfc) == sizeof(void*) && sizeof(WaitFactory) == sizeof(void*));
static_assert(sizeof(GPALSleep_Imple) == sizeof(void*));
static_assert(sizeof(RunnerIfc) == sizeof(void*) && sizeof(TimedThreadIfc) == sizeof(void*));
static_assert(sizeof(TimedThreadFactoryIfc) == sizeof(void*));
static_assert(sizeof(CriticalSection) == 2 * sizeof(void*));
static_assert(sizeof(GPALMutex) == sizeof(pthread_mutex_t) && !std::is_polymorphic_v<GPALMutex>);
static_assert(std::is_empty_v<GPALException> && !std::is_polymorphic_v<GPALException> &&
              !std::is_base_of_v<std::exception, GPALException>);

static_assert(std::is_same_v<decltype(gpalThread_exceptionOccured), bool>);
static_assert(std::is_same_v<decltype(Semaphore::AVAILABLE), const int> &&
              std::is_same_v<decltype(Semaphore::NOT_AVAILABLE), const int>);
static_assert(Semaphore::AVAILABLE == 1 && Semaphore::NOT_AVAILABLE == 0);
static_assert(std::is_same_v<std::underlying_type_t<GPALThreadPriority>, int> &&
              std::is_same_v<std::underlying_type_t<MutexInitialState>, int>);
static_assert(std::is_same_v<decltype(&GPALMutex::take), int (GPALMutex::*)()> &&
              std::is_same_v<decltype(&GPALMutex::give), int (GPALMutex::*)()>);
static_assert(
    std::is_same_v<decltype(&Threadable::currentThreadId), unsigned long (*)()> &&
    std::is_same_v<decltype(&Threadable::threadId), unsigned long (Threadable::*)() const> &&
    std::is_same_v<decltype(&Threadable::setThreadId), void (Threadable::*)(unsigned long)> &&
    std::is_same_v<decltype(&Threadable::waitForThreadCompletion), int (Threadable::*)()>);
static_assert(std::is_same_v<decltype(&Threader::detach), int (Threader::*)(unsigned long)> &&
              std::is_same_v<decltype(&Threader::protectFromDestroy), int (*)()> &&
              std::is_same_v<decltype(&Threader::unProtectFromDestroy), void (*)()> &&
              std::is_same_v<decltype(&Threader::setThreadPriority),
                             bool (*)(GPALThreadPriority, unsigned long)>);
static_assert(std::is_same_v<decltype(&OSWrappers::sleepFor), unsigned int (*)(int)> &&
              std::is_same_v<decltype(&OSWrappers::curID), int (*)()> &&
              std::is_same_v<decltype(&OSWrappers::curParentID), int (*)()> &&
              std::is_same_v<decltype(&OSWrappers::testPID), bool (*)(int)>);
static_assert(std::is_same_v<decltype(&new_Semaphore), void* (*)(int, int)> &&
              std::is_same_v<decltype(&new_RSemaphore), void* (*)(int, int)> &&
              std::is_same_v<decltype(&take_Semaphore), int (*)(void*, int)> &&
              std::is_same_v<decltype(&give_Semaphore), int (*)(void*)> &&
              std::is_same_v<decltype(&delete_Semaphore), void (*)(void*)>);
static_assert(std::is_same_v<decltype(&handleException), int (*)(const char*, const char*)> &&
              std::is_same_v<decltype(&threadExitCleanUp), void (*)(void*)>);

void threadSlots()
{
    inSlot<void (Threadable::*)()>(&Threadable::run, 2);
    inSlot<int (Threadable::*)()>(&Threadable::getThreadPriorityForPlatform, 3);
    inSlot<std::string (Threadable::*)()>(&Threadable::type, 4);
    hasSlots<Threadable>(5);

    using SpawnBody =
        bool (ThreaderIfc::*)(unsigned long*, Threadable*, std::string, GPALThreadPriority, int);
    inSlot<SpawnBody>(&ThreaderIfc::spawn, 2);
    inSlot<bool (ThreaderIfc::*)(unsigned long)>(&ThreaderIfc::destroy, 3);
    inSlot<int (ThreaderIfc::*)(unsigned long)>(&ThreaderIfc::waitForThreadCompletion, 4);
    hasSlots<ThreaderIfc>(5);
    using SpawnFunction = bool (Threader::*)(unsigned long*, void* (*)(void*), void*, std::string,
                                             GPALThreadPriority, int);
    inSlot<SpawnFunction>(&Threader::spawn, 5);
    hasSlots<Threader>(6);
    inSlot<ThreaderIfc* (ThreaderFactoryIfc::*)()>(&ThreaderFactoryIfc::createNewThreader, 2);
    hasSlots<ThreaderFactoryIfc>(3);
    hasSlots<ThreaderFactory>(3);
}

void semaphoreSlots()
{
    inSlot<int (Semaphore::*)(int)>(&Semaphore::take, 2);
    inSlot<int (Semaphore::*)()>(&Semaphore::give, 3);
    inSlot<void (Semaphore::*)()>(&Semaphore::displayInfo, 4);
    hasSlots<Semaphore>(5);
    hasOnlyItsDestructor<CriticalSection>();

    inSlot<int (WaitIfc::*)()>(&WaitIfc::wait, 2);
    inSlot<int (WaitIfc::*)(int)>(&WaitIfc::wait, 3);
    inSlot<int (WaitIfc::*)()>(&WaitIfc::signal, 4);
    hasSlots<WaitIfc>(5);
    inSlot<int (Wait::*)()>(&Wait::wait, 2);
    inSlot<int (Wait::*)(int)>(&Wait::wait, 3);
    inSlot<int (Wait::*)()>(&Wait::signal, 4);
    inSlot<void (Wait::*)()>(&Wait::displayInfo, 5);
    inSlot<int (Wait::*)(int)>(&Wait::take, 6);
    inSlot<int (Wait::*)()>(&Wait::give, 7);
    hasSlots<Wait>(8);
    inSlot<WaitIfc* (WaitFactoryIfc::*)()>(&WaitFactoryIfc::getNewWait, 2);
    hasSlots<WaitFactoryIfc>(3);
    hasSlots<WaitFactory>(3);
}

void sleepSlots()
{
    inSlot<void (GPALSleep_Imple::*)(int)>(&GPALSleep_Imple::milliSleep, 2);
    inSlot<void (GPALSleep_Imple::*)(int)>(&GPALSleep_Imple::secSleep, 3);
    hasSlots<GPALSleep_Imple>(4);
    inSlot<void (GPALSleep::*)(int)>(&GPALSleep::milliSleep, 2);
    inSlot<void (GPALSleep::*)(int)>(&GPALSleep::secSleep, 3);
    hasSlots<GPALSleep>(4);
}

void timedThreadSlots()
{
    inSlot<void (RunnerIfc::*)()>(&RunnerIfc::run, 2);
    hasSlots<RunnerIfc>(3);
    inSlot<int (TimedThreadIfc::*)(int)>(&TimedThreadIfc::runForAMaximumOf, 2);
    inSlot<void (TimedThreadIfc::*)()>(&TimedThreadIfc::forceTimeoutToExpire, 3);
    inSlot<int (TimedThreadIfc::*)(int)>(&TimedThreadIfc::waitForCompletion, 4);
    hasSlots<TimedThreadIfc>(5);
    inSlot<void (TimedThread::*)()>(&TimedThread::run, 2);
    inSlot<int (TimedThread::*)()>(&TimedThread::getThreadPriorityForPlatform, 3);
    inSlot<std::string (TimedThread::*)()>(&TimedThread::type, 4);
    inSlot<int (TimedThread::*)(int)>(&TimedThread::runForAMaximumOf, 5);
    inSlot<void (TimedThread::*)()>(&TimedThread::forceTimeoutToExpire, 6);
    inSlot<int (TimedThread::*)(int)>(&TimedThread::waitForCompletion, 7);
    hasSlots<TimedThread>(8);

    using Factory = TimedThreadFactoryIfc;
    inSlot<TimedThreadIfc* (Factory::*)(RunnerIfc*)>(&Factory::getNewTimedThread, 2);
    inSlot<bool (Factory::*)(TimedThreadIfc*)>(&Factory::deleteTimedThread, 3);
    inSlot<bool (Factory::*)()>(&Factory::killAllTimedThread, 4);
    hasSlots<TimedThreadFactoryIfc>(5);
    hasSlots<TimedThreadFactory>(5);
}

} // namespace layout
