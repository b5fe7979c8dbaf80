// Where fields are on the device: words of 32 bits, the pointer to the virtual functions first,
// then each field at the next place that its type allows. What follows a type of the threads
// library, whose size is that library's own, is counted from there.
#include "layout/layout.h"
#include "threads/thread_start.h"
#include <gpal/CriticalSection.h>
#include <gpal/Dll.h>
#include <gpal/GPALAnonymousPipe.h>
#include <gpal/GPALSleep.h>
#include <gpal/NetworkPort.h>
#include <gpal/OSPasswdMgr.h>
#include <gpal/osPOSIXTimer.h>
#include <gpal/osThreadBasedTimer.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <gpal/Process.h>
#include <gpal/ProcessManager.h>
#include <gpal/Storage.h>
#include <gpal/TimedThread.h>
#include <gpal/UDPSocket.h>
#include <gpal/Ulimit.h>

namespace layout
{

static_assert(sizeof(int) == 4 && sizeof(long) == 4 && sizeof(void*) == 4 && sizeof(bool) == 1);
static_assert(sizeof(GPALThreadPriority) == 4 && sizeof(AddressFamily) == 4 &&
              sizeof(Storage::eAccessMode) == 4);

#pragma GCC diagnostic ignored "-Winvalid-offsetof"

template struct At<Semaphore, offsetof(Semaphore, m_isWaitObject), 4>;
template struct At<Semaphore, offsetof(Semaphore, m_count), 8>;
template struct At<Semaphore, offsetof(Semaphore, m_maxCount), 12>;
template struct At<Semaphore, offsetof(Semaphore, m_waitingCount), 16>;
template struct At<Semaphore, offsetof(Semaphore, m_owner), 20>;
template struct At<Semaphore, offsetof(Semaphore, m_giveCount), 24>;
template struct At<Semaphore, offsetof(Semaphore, m_takeCount), 28>;
template struct At<Semaphore, offsetof(Semaphore, m_timeoutCount), 32>;
template struct At<Semaphore, offsetof(Semaphore, m_reentrant), 36>;
template struct At<Semaphore, offsetof(Semaphore, m_waitersMutex), 40>;
template struct At<Semaphore, offsetof(Semaphore, m_waitingThreads), 40 + sizeof(pthread_mutex_t)>;
template struct At<Semaphore, offsetof(Semaphore, m_stateMutex),
                   40 + sizeof(pthread_mutex_t) + sizeof(std::multiset<unsigned long>)>;
template struct At<CriticalSection, offsetof(CriticalSection, m_semaphore), 4>;

template struct At<Threadable, offsetof(Threadable, m_threadId), 4>;
static_assert(sizeof(Threadable) == 8);
using gpal::detail::ThreadStartBlock;
template struct At<ThreadStartBlock, offsetof(ThreadStartBlock, function), 0>;
template struct At<ThreadStartBlock, offsetof(ThreadStartBlock, priority), 4>;
template struct At<ThreadStartBlock, offsetof(ThreadStartBlock, argument), 8>;
template struct At<ThreadStartBlock, offsetof(ThreadStartBlock, name), 12>;
template struct At<GPALSleep, offsetof(GPALSleep, m_impl), 4>;
template struct At<GPALSleep, offsetof(GPALSleep, m_default), 8>;
static_assert(sizeof(GPALSleep) == 12);

template struct At<TimedThread, offsetof(TimedThread, m_runner), 12>;
template struct At<TimedThread, offsetof(TimedThread, m_threader), 16>;
template struct At<TimedThread, offsetof(TimedThread, m_waitFactory), 20>;
template struct At<TimedThread, offsetof(TimedThread, m_thread), 24>;
template struct At<TimedThread, offsetof(TimedThread, m_completion), 28>;
static_assert(sizeof(TimedThread) == 32);
template struct At<TimedThreadFactory, offsetof(TimedThreadFactory, m_timedThreads), 4>;
template struct At<TimedThreadFactory, offsetof(TimedThreadFactory, m_threader), 16>;
template struct At<TimedThreadFactory, offsetof(TimedThreadFactory, m_waitFactory), 20>;
template struct At<TimedThreadFactory, offsetof(TimedThreadFactory, m_listLock), 24>;

template struct At<osTimer, offsetof(osTimer, m_timer), 4>;
constexpr std::size_t AFTER_LOCK = 8 + sizeof(Semaphore);
template struct At<osThreadBasedTimer, offsetof(osThreadBasedTimer, m_id), 4>;
template struct At<osThreadBasedTimer, offsetof(osThreadBasedTimer, m_lock), 8>;
template struct At<osThreadBasedTimer, offsetof(osThreadBasedTimer, m_callback), AFTER_LOCK>;
template struct At<osThreadBasedTimer, offsetof(osThreadBasedTimer, m_running), AFTER_LOCK + 4>;
template struct At<osThreadBasedTimer, offsetof(osThreadBasedTimer, m_intervalMs), AFTER_LOCK + 8>;
template struct At<osThreadBasedTimer, offsetof(osThreadBasedTimer, m_expiry), AFTER_LOCK + 12>;
template struct At<osThreadBasedTimer, offsetof(osThreadBasedTimer, m_owner), AFTER_LOCK + 20>;
template struct At<osTimerThread, offsetof(osTimerThread, m_timers), 8>;
template struct At<osTimerThread, offsetof(osTimerThread, m_mutex), 12>;
template struct At<osTimerThread, offsetof(osTimerThread, m_now),
                   offsetof(osTimerThread, m_condition) + sizeof(pthread_cond_t)>;
template struct At<osTimerThread, offsetof(osTimerThread, m_deadline),
                   offsetof(osTimerThread, m_now) + 8>;
template struct At<osTimerThread, offsetof(osTimerThread, m_thread),
                   offsetof(osTimerThread, m_now) + 16>;
template struct At<osTimerThread, offsetof(osTimerThread, m_stopping),
                   offsetof(osTimerThread, m_now) + 20>;
template struct At<osTimerThread, offsetof(osTimerThread, m_started),
                   offsetof(osTimerThread, m_now) + 24>;
template struct At<osPOSIXTimer, offsetof(osPOSIXTimer, m_callback), 4>;
template struct At<osPOSIXTimer, offsetof(osPOSIXTimer, m_timerId), 8>;
template struct At<osPOSIXTimer, offsetof(osPOSIXTimer, m_event), 12>;
template struct At<osPOSIXTimer, offsetof(osPOSIXTimer, m_setting), 12 + sizeof(sigevent)>;
template struct At<osPOSIXTimer, offsetof(osPOSIXTimer, m_owner), 16 + sizeof(sigevent)>;

template struct At<Process, offsetof(Process, m_pid), 4>;
template struct At<Process, offsetof(Process, m_type), 8>;
template struct At<ProcessManager, offsetof(ProcessManager, m_setter), 4>;
template struct At<OSPasswdMgr, offsetof(OSPasswdMgr, m_processFactory), 4>;
template struct At<GPALAnonymousPipe, offsetof(GPALAnonymousPipe, readFd), 4>;
template struct At<GPALAnonymousPipe, offsetof(GPALAnonymousPipe, writeFd), 8>;
template struct At<Ulimit::limits, offsetof(Ulimit::limits, label), 0>;
template struct At<Ulimit::limits, offsetof(Ulimit::limits, resource), 4>;
template struct At<Ulimit::limits, offsetof(Ulimit::limits, factor), 8>;
template struct At<Ulimit::limits, offsetof(Ulimit::limits, option), 12>;

template struct At<Storage, offsetof(Storage, m_accessMode), 4>;
template struct At<Storage, offsetof(Storage, m_stream), 8>;
template struct At<Storage, offsetof(Storage, m_readMode), 12>;
template struct At<Storage, offsetof(Storage, m_writeMode), 16>;
template struct At<Storage, offsetof(Storage, m_fileName), 20>;
static_assert(sizeof(Storage) == 24);

template struct At<UDPSocket, offsetof(UDPSocket, m_socketHandle), 0>;
template struct At<UDPSocket, offsetof(UDPSocket, m_localPort), 4>;
template struct At<UDPSocket, offsetof(UDPSocket, m_family), 8>;
template struct At<UDPSocket, offsetof(UDPSocket, m_closed), 12>;
template struct At<UDPSocket, offsetof(UDPSocket, m_errorReported), 13>;
template struct At<NetworkPort, offsetof(NetworkPort, m_address), 4>;

constexpr std::size_t AFTER_ERROR = 4 + sizeof(std::string);
template struct At<Dll, offsetof(Dll, m_lastError), 4>;
template struct At<Dll, offsetof(Dll, m_handle), AFTER_ERROR>;
template struct At<Dll, offsetof(Dll, m_failed), AFTER_ERROR + 4>;
template struct At<Dll, offsetof(Dll, m_libraryRequested), AFTER_ERROR + 8>;
template struct At<Dll, offsetof(Dll, m_semaphoreId), AFTER_ERROR + 8 + sizeof(std::string)>;

} // namespace layout
