// Null, negative, zero, largest and otherwise odd arguments: a failure result, and no crash.
#include <gpal/OSPasswdMgr.h>
#include <gpal/Process.h>
#include <gpal/ProcessManager.h>
#include <gpal/SerialPortConfiguration.h>
#include <gpal/SharedResource.h>
#include <gpal/Ulimit.h>

#include <cerrno>
#include <climits>
#include <gmock/gmock.h>
#include <syslog.h>

#include "programs.h"
#include "support/layer_threads.h"
#include "support/observed.h"

using support::LogLine;
using testing::ElementsAre;

namespace
{

struct Call {
    const char* name;
    std::function<bool()> holds;
};

void expectAll(const std::vector<Call>& table)
{
    for (const Call& call : table) {
        EXPECT_TRUE(call.holds()) << call.name;
    }
}

const LogLine MISSING = {LOG_ERR, "Process ex GPAL Process missing application:(null)\n"};

char* noArguments[] = {nullptr};

bool isMissing(char** argv)
{
    Process process;
    try {
        process.start(INT_MIN, argv, nullptr, nullptr);
    } catch (const GPALProcessException& failure) {
        return failure.message() == "GPAL Process missing application" && process.ID() == 0;
    }
    return false;
}

constexpr auto NO_LEVEL = static_cast<GPALThreadPriority>(INT_MIN);

} // namespace

TEST(OddArguments, ofAStartAreAMissingApplication)
{
    const support::RecordedLog log;
    char empty[] = "";
    char* nameless[] = {empty, nullptr};
    EXPECT_TRUE(isMissing(nullptr));
    EXPECT_TRUE(isMissing(noArguments));
    EXPECT_THAT(log.lines(), ElementsAre(MISSING, MISSING));
    EXPECT_TRUE(isMissing(nameless));
    EXPECT_THROW(Process(0, nullptr, nullptr, nullptr), GPALProcessException);
}

TEST(OddArguments, ofAnEnvironmentAreAnEmptyOne)
{
    Process process;
    TextVector argv{"/bin/sh", "-c", "exit 7"};
    EXPECT_EQ(process.start(INT_MAX, argv.get(), nullptr, nullptr), 1);
    EXPECT_EQ(process.waitForExit(), 7);
}

TEST(OddArguments, ofProcessesAndTheirFactoryAreTakenAsTheyAre)
{
    expectAll({
        {"no process to destroy", [] { return ProcessFactory().destroy(nullptr), true; }},
        {"result 0", [] { return Process().processResult(0) == -1; }},
        {"result INT_MIN", [] { return Process().processResult(INT_MIN) == -1; }},
        {"result INT_MAX", [] { return Process().processResult(INT_MAX) == -1; }},
    });
}

TEST(OddArguments, ofAScriptAreLogged)
{
    const support::RecordedLog log;
    OSPasswdMgr manager;
    EXPECT_EQ(manager.runScript(0, nullptr), 0);
    EXPECT_EQ(manager.runScript(UINT_MAX, const_cast<const char**>(noArguments)), 0);
    const LogLine notRun = {LOG_NOTICE, "runScript:(null):GPAL Process missing application"};
    EXPECT_THAT(log.lines(), ElementsAre(MISSING, notRun, MISSING, notRun));
}

TEST(OddArguments, ofAManagerWithoutSetterChangeNoPriority)
{
    support::Body body([] {});
    Process process;
    ProcessManager manager(nullptr);
    expectAll({
        {"addThread", [&] { return manager.addThread(body, -1) == 1; }},
        {"addThread by name", [&] { return manager.addThread(INT_MIN, "") == 1; }},
        {"removeThread", [&] { return manager.removeThread(INT_MAX) == 0; }},
        {"addProcess", [&] { return manager.addProcess(process) == 1; }},
        {"requestNewPriority", [&] { return manager.requestNewPriority(0, NO_LEVEL) == -1; }},
        {"calculatePriority", [&] { return manager.calculatePriority(NO_LEVEL) == 0; }},
    });
}

TEST(OddArguments, ofTheManagementLeaveTheDefaultManagerInForce)
{
    ProcessManager* const byDefault = ProcessManagement::manager();
    EXPECT_EQ(*ProcessManagement::initialize(nullptr), nullptr);
    EXPECT_EQ(ProcessManagement::manager(), byDefault);
    ProcessManagement::uninitialize();
    ProcessManagement::uninitialize();
    EXPECT_EQ(ProcessManagement::manager(), byDefault);
}

TEST(OddArguments, ofASetterGiveTheAnswerOfTheKernel)
{
    SimplePrioritySetter setter;
    expectAll({
        {"process -1", [&] { return setter.setProcessPriority("", -1) == -1; }},
        {"request process", [&] { return setter.requestProcessPriority("", -1, INT_MAX) == -1; }},
        {"thread", [&] { return setter.setThreadPriority("", UINT_MAX) == -1; }},
        {"request thread",
         [&] { return setter.requestThreadPriority("", UINT_MAX, INT_MIN) == -1; }},
    });
}

TEST(OddArguments, ofALimitLeaveTheTextAsItWas)
{
    const rlimit limit{4096, 4096};
    const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
    const Ulimit::limits noFactor{nullptr, INT_MAX, 0, '\0'};
    const Ulimit::limits negative{nullptr, INT_MIN, INT_MIN, '\0'};
    std::string text = "old";
    const auto report = [&](const rlimit* value, const Ulimit::limits* record) {
        text = "old";
        Ulimit().getlimit(value, record, text);
        return text;
    };
    expectAll({
        {"no limit", [&] { return report(nullptr, &noFactor) == "old"; }},
        {"no record", [&] { return report(&limit, nullptr) == "old"; }},
        {"factor 0", [&] { return report(&limit, &noFactor) == "old"; }},
        {"factor 0 of no limit", [&] { return report(&none, &noFactor) == "unlimited"; }},
        {"factor below 0", [&] { return report(&limit, &negative) == "0"; }},
        {"no letter", [&] { return !Ulimit().getulimit('\0', text); }},
        {"no ASCII", [&] { return !Ulimit().getulimit('\xFF', text); }},
    });
}

TEST(OddArguments, ofSharedResourcesGiveTheAnswerOfTheKernel)
{
    SharedMemory memory;
    SharedSemaphore semaphore;
    sembuf operation{};
    timespec timeout{};
    expectAll({
        {"key of null", [] { return SharedResource::getSharedResourceKey(nullptr, 0) == -1; }},
        {"key of nothing", [] { return SharedResource::getSharedResourceKey("", INT_MIN) == -1; }},
        {"memory of -1 bytes", [&] { return memory.create(IPC_PRIVATE, -1, IPC_CREAT) == -1; }},
        {"memory of 0 bytes", [&] { return memory.create(IPC_PRIVATE, 0, IPC_CREAT) == -1; }},
        {"attach -1", [&] { return memory.attach(-1, nullptr, 0) == reinterpret_cast<void*>(-1); }},
        {"detach null", [&] { return memory.detach(nullptr) == -1 && errno == EINVAL; }},
        {"control -1", [&] { return memory.control(-1, INT_MIN, nullptr) == -1; }},
        {"semaphores -1", [&] { return semaphore.create(IPC_PRIVATE, -1, IPC_CREAT) == -1; }},
        {"semaphores INT_MAX",
         [&] { return semaphore.create(IPC_PRIVATE, INT_MAX, IPC_CREAT) == -1; }},
        {"no operations", [&] { return semaphore.operation(-1, nullptr, 0) == -1; }},
        {"null operations", [&] { return semaphore.operation(-1, nullptr, 1) == -1; }},
        {"UINT_MAX operations", [&] { return semaphore.operation(0, &operation, UINT_MAX) == -1; }},
        {"null timed", [&] { return semaphore.timedOperation(-1, nullptr, 0, nullptr) == -1; }},
        {"timed", [&] { return semaphore.timedOperation(0, &operation, 1, &timeout) == -1; }},
        {"control of no set", [&] { return semaphore.control(-1, -1, IPC_RMID) == -1; }},
    });
}

TEST(OddArguments, ofTheConsoleModesGiveTheShell)
{
    const auto noMode = static_cast<SerialPortConfiguration::SerialPortMode>(INT_MIN);
    const std::string large(100000, 'x');
    EXPECT_EQ(SerialPortConfiguration::serialPortModeToString(noMode), "interactive_no_login");
    EXPECT_EQ(SerialPortConfiguration::stringToSerialPortMode(large),
              SerialPortConfiguration::INTERACTIVE_NO_LOGIN);
    EXPECT_FALSE(SerialPortConfiguration::isValidSerialPortMode(large));
}
