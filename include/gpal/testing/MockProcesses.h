/// \file
/// GoogleMock classes of child processes, of the process manager and of passwords.
#ifndef GPAL_TESTING_MOCKPROCESSES_H
#define GPAL_TESTING_MOCKPROCESSES_H

#include <string>

#include <gmock/gmock.h>

#include <gpal/OSPasswdMgr.h>
#include <gpal/Process.h>
#include <gpal/ProcessManager.h>

namespace gpal::testing
{

class MockProcess : public ProcessIfc
{
public:
    MOCK_METHOD(int, start, (int argc, char** argv, char** envp, char* extra), (override));
    MOCK_METHOD(int, waitForExit, (), (override));
    MOCK_METHOD(int, destroy, (), (override));
    MOCK_METHOD(int, sigusr2, (), (override));
    MOCK_METHOD(int, sigusr1, (), (override));
    MOCK_METHOD(std::string, type, (), (override));
    MOCK_METHOD(int, ID, (), (override));
    MOCK_METHOD(bool, isRunning, (), (override));
};

/// What `getProcess` is made to return is the caller's until `destroy`, which deletes nothing by
/// itself.
class MockProcessFactory : public ProcessFactoryIfc
{
public:
    MOCK_METHOD(ProcessIfc*, getProcess, (), (override));
    MOCK_METHOD(void, destroy, (ProcessIfc * process), (override));
};

class MockPrioritySetter : public PrioritySetter
{
public:
    MOCK_METHOD(int, setThreadPriority, (std::string name, unsigned long threadId), (override));
    MOCK_METHOD(int, setProcessPriority, (std::string type, int pid), (override));
    MOCK_METHOD(int, requestThreadPriority,
                (std::string name, unsigned long threadId, int niceValue), (override));
    MOCK_METHOD(int, requestProcessPriority, (std::string type, int pid, int niceValue),
                (override));
};

/// Takes effect once `ProcessManagement::initialize` has put it in force, which owns it from then
/// on.
class MockProcessManager : public ProcessManager
{
public:
    MockProcessManager() : ProcessManager(nullptr) {}

    MOCK_METHOD(int, addThread, (Threadable & thread, int threadId), (override));
    MOCK_METHOD(int, addThread, (int threadId, std::string name), (override));
    MOCK_METHOD(int, removeThread, (int threadId), (override));
    MOCK_METHOD(int, addProcess, (Process & process), (override));
    MOCK_METHOD(int, requestNewPriority, (int threadId, GPALThreadPriority priority), (override));
};

class MockPasswdMgr : public OSPasswdMgrIfc
{
public:
    MOCK_METHOD(int, setPasswd, (const std::string& user, std::string password), (override));
    MOCK_METHOD(int, deletePasswd, (const std::string& user), (override));
};

} // namespace gpal::testing

#endif
