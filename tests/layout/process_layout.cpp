// Classes of the process folder: virtual functions, fields and results.
#include "layout/layout.h"
#include <gpal/GPALAnonymousPipe.h>
#include <gpal/OSPasswdMgr.h>
#include <gpal/Process.h>
#include <gpal/ProcessManager.h>
#include <gpal/SerialPortConfiguration.h>
#include <gpal/SharedResource.h>
#include <gpal/Ulimit.h>

namespace layout
{

#pragma GCC diagnostic ignored "-Winvalid-offsetof"
template struct InOrder<Process, offsetof(Process, m_pid), offsetof(Process, m_type)>;
template struct InOrder<GPALAnonymousPipe, offsetof(GPALAnonymousPipe, readFd),
                        offsetof(GPALAnonymousPipe, writeFd)>;
template struct InOrder<Ulimit::limits, offsetof(Ulimit::limits, label),
                        offsetof(Ulimit::limits, resource), offsetof(Ulimit::limits, factor),
                        offsetof(Ulimit::limits, option)>;

static_assert(sizeof(GPALProcessException) == sizeof(std::string) &&
              !std::is_polymorphic_v<GPALProcessException> &&
              std::is_convertible_v<GPALProcessException*, GPALException*>);
static_assert(sizeof(ProcessIfc) == sizeof(void*));
static_assert(sizeof(ProcessFactoryIfc) == sizeof(void*) &&
              sizeof(ProcessFactory) == sizeof(void*));
static_assert(sizeof(PrioritySetter) == sizeof(void*) &&
              sizeof(SimplePrioritySetter) == sizeof(void*));
static_assert(sizeof(ProcessManager) == 2 * sizeof(void*));
static_assert(sizeof(OSPasswdMgrIfc) == sizeof(void*) && sizeof(OSPasswdMgr) == 2 * sizeof(void*));
static_assert(sizeof(Ulimit) == sizeof(void*));
static_assert(sizeof(SharedResource) == sizeof(void*) && sizeof(SharedMemory) == sizeof(void*) &&
              sizeof(SharedSemaphore) == sizeof(void*));

static_assert(std::is_same_v<decltype(Ulimit::limits::label), const char*> &&
              std::is_same_v<decltype(Ulimit::limits::resource), int> &&
              std::is_same_v<decltype(Ulimit::limits::factor), int> &&
              std::is_same_v<decltype(Ulimit::limits::option), char>);
static_assert(std::is_same_v<decltype(GPALAnonymousPipe::readFd), int> &&
              std::is_same_v<decltype(GPALAnonymousPipe::writeFd), int>);
static_assert(std::is_same_v<std::underlying_type_t<SerialPortConfiguration::SerialPortMode>, int>);
static_assert(std::is_same_v<decltype(ProcessManagement::m_testManager), ProcessManager*>);
static_assert(std::is_same_v<decltype(&ProcessManager::calculatePriority),
                             int (ProcessManager::*)(GPALThreadPriority)>);
static_assert(std::is_same_v<decltype(&Ulimit::getulimit), bool (Ulimit::*)(char, std::string&)> &&
              std::is_same_v<decltype(&Ulimit::getlimit),
                             void (Ulimit::*)(const rlimit*, const Ulimit::limits*, std::string&)>);
static_assert(
    std::is_same_v<decltype(&SharedResource::getSharedResourceKey), int (*)(const char*, int)>);
using Memory = SharedMemory;
static_assert(std::is_same_v<decltype(&Memory::create), int (Memory::*)(int, int, int)> &&
              std::is_same_v<decltype(&Memory::attach), void* (Memory::*)(int, const void*, int)> &&
              std::is_same_v<decltype(&Memory::detach), int (Memory::*)(void*)> &&
              std::is_same_v<decltype(&Memory::control), int (Memory::*)(int, int, shmid_ds*)>);
using Semaphores = SharedSemaphore;
static_assert(
    std::is_same_v<decltype(&Semaphores::create), int (Semaphores::*)(int, int, int)> &&
    std::is_same_v<decltype(&Semaphores::operation),
                   int (Semaphores::*)(int, sembuf*, unsigned int)> &&
    std::is_same_v<decltype(&Semaphores::timedOperation),
                   int (Semaphores::*)(int, sembuf*, unsigned int, timespec*)> &&
    std::is_same_v<decltype(&Semaphores::control), int (Semaphores::*)(int, int, int, ...)>);

void processSlots()
{
    inSlot<int (ProcessIfc::*)(int, char**, char**, char*)>(&ProcessIfc::start, 2);
    inSlot<int (ProcessIfc::*)()>(&ProcessIfc::waitForExit, 3);
    inSlot<int (ProcessIfc::*)()>(&ProcessIfc::destroy, 4);
    inSlot<int (ProcessIfc::*)()>(&ProcessIfc::sigusr2, 5);
    inSlot<int (ProcessIfc::*)()>(&ProcessIfc::sigusr1, 6);
    inSlot<std::string (ProcessIfc::*)()>(&ProcessIfc::type, 7);
    inSlot<int (ProcessIfc::*)()>(&ProcessIfc::ID, 8);
    inSlot<bool (ProcessIfc::*)()>(&ProcessIfc::isRunning, 9);
    hasSlots<ProcessIfc>(10);
    hasSlots<Process>(10);
    inSlot<ProcessIfc* (ProcessFactoryIfc::*)()>(&ProcessFactoryIfc::getProcess, 2);
    inSlot<void (ProcessFactoryIfc::*)(ProcessIfc*)>(&ProcessFactoryIfc::destroy, 3);
    hasSlots<ProcessFactoryIfc>(4);
    hasSlots<ProcessFactory>(4);
}

void managerSlots()
{
    using Setter = PrioritySetter;
    inSlot<int (Setter::*)(std::string, unsigned long)>(&Setter::setThreadPriority, 2);
    inSlot<int (Setter::*)(std::string, int)>(&Setter::setProcessPriority, 3);
    inSlot<int (Setter::*)(std::string, unsigned long, int)>(&Setter::requestThreadPriority, 4);
    inSlot<int (Setter::*)(std::string, int, int)>(&Setter::requestProcessPriority, 5);
    hasSlots<PrioritySetter>(6);
    hasSlots<SimplePrioritySetter>(6);

    using Manager = ProcessManager;
    inSlot<int (Manager::*)(Threadable&, int)>(&Manager::addThread, 2);
    inSlot<int (Manager::*)(int, std::string)>(&Manager::addThread, 3);
    inSlot<int (Manager::*)(int)>(&Manager::removeThread, 4);
    inSlot<int (Manager::*)(Process&)>(&Manager::addProcess, 5);
    inSlot<int (Manager::*)(int, GPALThreadPriority)>(&Manager::requestNewPriority, 6);
    hasSlots<ProcessManager>(7);
}

void helperSlots()
{
    using Passwords = OSPasswdMgrIfc;
    inSlot<int (Passwords::*)(const std::string&, std::string)>(&Passwords::setPasswd, 2);
    inSlot<int (Passwords::*)(const std::string&)>(&Passwords::deletePasswd, 3);
    hasSlots<OSPasswdMgrIfc>(4);
    hasSlots<OSPasswdMgr>(4);
    hasOnlyItsDestructor<Ulimit>();
    hasOnlyItsDestructor<SharedResource>();
    hasOnlyItsDestructor<SharedMemory>();
    hasOnlyItsDestructor<SharedSemaphore>();
    hasOnlyItsDestructor<GPALAnonymousPipe>();
}

} // namespace layout
