// Passwords, through scripts where the device has its own.
#include <gpal/OSPasswdMgr.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <pthread.h>
#include <sys/wait.h>
#include <syslog.h>

#include <gpal/ProcessManager.h>

#include "private_root.h"
#include "programs.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"
#include "support/throwing_manager.h"

namespace calls = support::calls;
using support::contentOf;
using support::LogLine;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const std::string DIRECTORY = "/Mirta_Deploy";
const std::string SET = DIRECTORY + "/setPasswd.sh";
const std::string DELETE = DIRECTORY + "/deletePasswd.sh";

// The script's own words about how it was called.
const char* const REPORTING = "#!/bin/sh\n"
                              "printf '%s|' \"$0\" \"$#\" \"$@\" > /Mirta_Deploy/arguments\n"
                              "pwd -P > /Mirta_Deploy/directory\n"
                              "/bin/cat /proc/$$/environ > /Mirta_Deploy/environment\n";

/// Tests with a deployment of their own, on a root directory of their own.
class OSPasswdMgrOnDevice : public testing::Test
{
protected:
    void SetUp() override
    {
        static const std::string whyNot = enterPrivateRoot(); // once for the whole program
        if (!whyNot.empty()) {
            GTEST_SKIP() << "no root directory of its own for the test: " << whyNot;
        }
        std::filesystem::remove_all(DIRECTORY);
        std::filesystem::create_directory(DIRECTORY);
    }

    static std::string reported(const std::string& what)
    {
        return contentOf(DIRECTORY + "/" + what);
    }

    OSPasswdMgr m_manager;
    support::RecordedLog m_log;
};

std::string ownEnvironment()
{
    std::string all;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        all += *variable;
        all += '\0';
    }
    return all;
}

/// Sets a password while the manager in force throws. Returns what was sent to the child in the
/// end.
template <typename Thrown>
std::vector<int> signalsWhenRefusedWith(const Thrown& thrown)
{
    std::vector<int> signals;
    const Replacement recorded(calls::kill, [&](pid_t process, int signal) {
        if (signal != 0) {
            signals.push_back(signal);
        }
        return calls::kill.original(process, signal);
    });
    const Replacement untouched(calls::waitpid, [](pid_t, int*, int) { return 0; });
    const Replacement skipped(calls::sleep, [](unsigned int) { return 0U; });
    ProcessManagement::initialize(new support::ThrowingManager<Thrown>(thrown));
    OSPasswdMgr().setPasswd("user", "secret");
    ProcessManagement::uninitialize();
    return signals;
}

} // namespace

TEST_F(OSPasswdMgrOnDevice, setsAPasswordWithTheDeploymentsScript)
{
    writeProgram(SET, REPORTING, 0700);
    m_manager.setPasswd("service user", "se\"cr$et'");
    EXPECT_EQ(SET + "|2|service user|se\"cr$et'|", reported("arguments"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(OSPasswdMgrOnDevice, deletesAPasswordWithTheDeploymentsScript)
{
    writeProgram(DELETE, REPORTING, 0700);
    m_manager.deletePasswd("service user");
    EXPECT_EQ(DELETE + "|1|service user|", reported("arguments"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(OSPasswdMgrOnDevice, passesEmptyTextsAsArgumentsToo)
{
    writeProgram(SET, REPORTING, 0700);
    m_manager.setPasswd("", "");
    EXPECT_EQ(SET + "|2|||", reported("arguments"));
}

TEST_F(OSPasswdMgrOnDevice, runsTheScriptInTheCallersDirectoryWithItsWholeEnvironment)
{
    writeProgram(SET, REPORTING, 0700);
    setenv("GPAL_TEST_OF_PASSWORDS", "of the caller", 1);
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path("/proc");
    m_manager.setPasswd("user", "secret");
    std::filesystem::current_path(before);
    EXPECT_EQ("/proc\n", reported("directory"));
    EXPECT_EQ(ownEnvironment(), reported("environment"));
}

TEST_F(OSPasswdMgrOnDevice, waitsForTheScriptAndReapsItWithoutEndingIt)
{
    reapAll();
    writeProgram(SET, REPORTING, 0700);
    std::vector<int> signals;
    const Replacement recorded(calls::kill, [&](pid_t process, int signal) {
        if (signal != 0) {
            signals.push_back(signal);
        }
        return calls::kill.original(process, signal);
    });
    m_manager.setPasswd("user", "secret");
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
    EXPECT_THAT(signals, IsEmpty());
}

TEST_F(OSPasswdMgrOnDevice, doesNotLookAtTheScriptsExitCode)
{
    int results[3] = {};
    int* result = results;
    for (const char* script :
         {"#!/bin/sh\nexit 0\n", "#!/bin/sh\nexit 7\n", "#!/bin/sh\nkill -9 $$\n"}) {
        writeProgram(SET, script, 0700);
        *result++ = m_manager.setPasswd("user", "secret");
    }
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(OSPasswdMgrOnDevice, notesAMissingScript)
{
    m_manager.setPasswd("user", "secret");
    m_manager.deletePasswd("user");
    const std::string message = "GPAL Process missing application";
    EXPECT_THAT(m_log.lines(),
                ElementsAre(LogLine{LOG_ERR, "Process ex " + message + ":" + SET + "\n"},
                            LogLine{LOG_NOTICE, "runScript:" + SET + ":" + message},
                            LogLine{LOG_ERR, "Process ex " + message + ":" + DELETE + "\n"},
                            LogLine{LOG_NOTICE, "runScript:" + DELETE + ":" + message}));
}

TEST_F(OSPasswdMgrOnDevice, notesAScriptThatMayNotBeExecuted)
{
    writeProgram(SET, REPORTING, 0601);
    m_manager.setPasswd("user", "secret");
    ASSERT_EQ(2U, m_log.lines().size());
    EXPECT_EQ(
        (LogLine{LOG_NOTICE, "runScript:" + SET + ":GPAL Process application not executable"}),
        m_log.lines()[1]);
}

TEST_F(OSPasswdMgrOnDevice, notesAFailedWaitAndEndsTheScript)
{
    writeProgram(SET, "#!/bin/sh\nexec sleep 60\n", 0700);
    std::vector<std::string> events;
    const Replacement failing(calls::waitpid, [&](pid_t, int*, int options) {
        events.emplace_back(options == WNOHANG ? "try to reap" : "wait");
        errno = EINTR;
        return options == WNOHANG ? 0 : -1;
    });
    const Replacement recorded(calls::kill, [&](pid_t process, int signal) {
        if (signal != 0) {
            events.push_back("signal " + std::to_string(signal));
        }
        return calls::kill.original(process, signal);
    });
    const Replacement skipped(calls::sleep, [](unsigned int) { return 0U; });
    m_manager.setPasswd("user", "secret");
    EXPECT_THAT(m_log.lines(),
                ElementsAre(LogLine{LOG_NOTICE, "runScript:" + SET + ":GPAL Process exception"}));
    EXPECT_THAT(events, ElementsAre("wait", "signal " + std::to_string(SIGTERM), "try to reap"));
}

TEST_F(OSPasswdMgrOnDevice, notesAnExceptionOfTheProcessLayerFromTheManagerWithItsText)
{
    writeProgram(SET, "#!/bin/sh\nexec sleep 60\n", 0700);
    EXPECT_THAT(signalsWhenRefusedWith(GPALProcessException("no room for it")),
                ElementsAre(SIGTERM));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(LogLine{LOG_NOTICE, "runScript:" + SET + ":no room for it"}));
}

TEST_F(OSPasswdMgrOnDevice, notesAnyOtherExceptionAndEndsTheScript)
{
    writeProgram(SET, "#!/bin/sh\nexec sleep 60\n", 0700);
    EXPECT_THAT(signalsWhenRefusedWith(std::runtime_error("no room")), ElementsAre(SIGTERM));
    EXPECT_THAT(signalsWhenRefusedWith(GPALException()), ElementsAre(SIGTERM));
    EXPECT_THAT(signalsWhenRefusedWith(4711), ElementsAre(SIGTERM));
    const LogLine finished{LOG_NOTICE, "runScript:" + SET + " already finished"};
    EXPECT_THAT(m_log.lines(), ElementsAre(finished, finished, finished));
}

TEST_F(OSPasswdMgrOnDevice, runsAnyScriptThatIsAskedFor)
{
    const std::string other = writeProgram(DIRECTORY + "/other.sh", REPORTING, 0700);
    const char* const argv[] = {other.c_str(), "a", "b", "c", nullptr};
    m_manager.runScript(4, const_cast<const char**>(argv));
    EXPECT_EQ(other + "|3|a|b|c|", reported("arguments"));
}

TEST_F(OSPasswdMgrOnDevice, endsTheScriptOfACallerThatIsCancelled)
{
    writeProgram(SET,
                 "#!/bin/sh\necho $$ > /Mirta_Deploy/new\nmv /Mirta_Deploy/new "
                 "/Mirta_Deploy/running\nexec sleep 60\n",
                 0700);
    const Replacement skipped(calls::sleep, [](unsigned int) { return 0U; });
    support::PlainThread thread([this] { m_manager.setPasswd("user", "secret"); });
    EXPECT_TRUE(support::eventually([] { return !reported("running").empty(); }));
    thread.cancel();
    EXPECT_TRUE(thread.wasCancelled());
    const pid_t script = std::stoi(reported("running"));
    int status = SIGTERM;
    waitpid(script, &status, 0); // unless it was quick enough to be reaped
    EXPECT_EQ(SIGTERM, WTERMSIG(status));
    EXPECT_TRUE(support::eventually([script] { return kill(script, 0) == -1; }));
    for (const LogLine& line : m_log.lines()) {
        EXPECT_EQ(std::string::npos, line.text.find("runScript")) << line.text;
    }
}

TEST(OSPasswdMgr, throwsNothingOnAHostWithoutADeployment)
{
    if (support::exists(DIRECTORY)) {
        GTEST_SKIP() << "this machine has a deployment";
    }
    const support::RecordedLog log;
    OSPasswdMgr manager;
    EXPECT_NO_THROW(manager.setPasswd("user", "secret"));
    EXPECT_NO_THROW(manager.deletePasswd("user"));
    EXPECT_EQ(4U, log.lines().size());
}

TEST(OSPasswdMgrIfc, isImplementedByTheManagerOfTheLayer)
{
    const support::RecordedLog log;
    OSPasswdMgrIfc* const manager = new OSPasswdMgr;
    const std::string user = "user";
    manager->deletePasswd(user);
    delete manager;
}

TEST(OSPasswdMgrIfc, canBeImplementedByAClient)
{
    struct Remembered : OSPasswdMgrIfc {
        explicit Remembered(std::string& last) : m_last(last) {}
        ~Remembered() override { m_last = "gone"; }
        int setPasswd(const std::string& user, std::string) override
        {
            m_last = user;
            return 0;
        }
        int deletePasswd(const std::string&) override { return 0; }
        std::string& m_last;
    };
    std::string last;
    std::unique_ptr<OSPasswdMgrIfc> manager = std::make_unique<Remembered>(last);
    manager->setPasswd("user", "secret");
    EXPECT_EQ("user", last);
    manager.reset();
    EXPECT_EQ("gone", last);
}
