/// \file
/// All exported headers of the layer.
#ifndef GPAL_GPAL_H
#define GPAL_GPAL_H

#include <gpal/backtrace.h>
#include <gpal/BinaryStorage.h>
#include <gpal/CriticalSection.h>
#include <gpal/Dll.h>
#include <gpal/FileHandle.h>
#include <gpal/FileManager.h>
#include <gpal/GPALAnonymousPipe.h>
#include <gpal/GPALException.h>
#include <gpal/GPALMutex.h>
#include <gpal/GPALSleep.h>
#include <gpal/GPALThreadPriority.h>
#include <gpal/MemoryInformation.h>
#include <gpal/NetworkPort.h>
#include <gpal/NetworkUtils.h>
#include <gpal/OSPasswdMgr.h>
#include <gpal/osPOSIXTimer.h>
#include <gpal/osThreadBasedTimer.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <gpal/OSWrappers.h>
#include <gpal/packet_dump.h>
#include <gpal/Process.h>
#include <gpal/ProcessManager.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/Semaphore.h>
#include <gpal/semaphore_c_api.h>
#include <gpal/SerialPortConfiguration.h>
#include <gpal/SharedResource.h>
#include <gpal/Storage.h>
#include <gpal/symbolInfo.h>
#include <gpal/syslogger.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>
#include <gpal/TimedThread.h>
#include <gpal/UDPSocket.h>
#include <gpal/Ulimit.h>
#include <gpal/version.h>
#include <gpal/Wait.h>
#include <gpal/Watchdog.h>

#endif
