#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gpal/Storage.h>
#include <gpal/Watchdog.h>
#include <gtest/gtest.h>
#include <list>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "fabricated_proc.h"
#include "support/observed.h"
#include "support/private_mounts.h"
#include "support/temporary_directory.h"

namespace
{

std::vector<std::string> listed()
{
    std::list<std::string> entries;
    Storage::getListOfDirectoriesByDirectoryNoPath("/proc/", &entries);
    return {entries.begin(), entries.end()};
}

/// A program that runs until it goes out of scope, under a path of its own choice.
class RunningProgram
{
public:
    RunningProgram(const std::string& path, const std::string& argument)
    {
        int started[2] = {-1, -1};
        EXPECT_EQ(pipe2(started, O_CLOEXEC), 0);
        m_id = fork();
        if (m_id == 0) {
            execl("/bin/sleep", path.c_str(), "60", argument.c_str(), nullptr);
            _exit(127);
        }
        close(started[1]);
        char nothing = 0;
        EXPECT_EQ(read(started[0], &nothing, 1), 0); // the program has none of its starter's pipes
        close(started[0]);
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    ~RunningProgram()
    {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }

    int id() const { return m_id; }

private:
    pid_t m_id;
};

} // namespace

TEST(ProcessByName, isTheIdOfTheProcessWhoseProgramPathHoldsTheName)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.process("17", "/sbin/init");
    proc.process("23", "/usr/bin/phoneapp");
    proc.process("42", "/usr/sbin/syslogd");
    EXPECT_EQ(Watchdog().getPIdByName("phone"), 23);
    EXPECT_EQ(Watchdog().getPIdByName("/usr/bin/phoneapp"), 23);
    EXPECT_EQ(Watchdog().getPIdByName("bin/syslogd"), 42);
    EXPECT_EQ(Watchdog().getPIdByName("init"), 17);
}

TEST(ProcessByName, isZeroWithoutMatch)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    EXPECT_EQ(Watchdog().getPIdByName("phone"), 0);
    EXPECT_EQ(Watchdog().getPIdByName(""), 0);
    proc.process("23", "/usr/bin/phoneapp");
    EXPECT_EQ(Watchdog().getPIdByName("phoneapps"), 0);
}

TEST(ProcessByName, isCaseSensitive)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.process("23", "/usr/bin/phoneapp");
    EXPECT_EQ(Watchdog().getPIdByName("Phone"), 0);
}

TEST(ProcessByName, isTheFirstMatchInTheOrderOfTheListing)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    for (const char* id : {"300", "100", "400", "200"}) {
        proc.process(id, "/usr/bin/phoneapp");
        EXPECT_EQ(Watchdog().getPIdByName("phone"), std::stoi(listed().front()));
    }
    proc.process(listed().front(), "/bin/sh");
    EXPECT_EQ(Watchdog().getPIdByName("phone"), std::stoi(listed()[1]));
}

TEST(ProcessByName, isZeroForAMatchOnAnEntryThatIsNoNumber)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.process("self", "/usr/bin/phoneapp");
    if (support::contentOf("/proc/self/cmdline") != "/usr/bin/phoneapp") {
        GTEST_SKIP() << "an emulator answers in place of this file";
    }
    EXPECT_EQ(Watchdog().getPIdByName("phone"), 0);
    // Whichever of the two is listed first, the other one is made to match as well.
    proc.process("23", "/usr/bin/phoneapp");
    const bool selfIsFirst = listed().front() == "self";
    EXPECT_EQ(Watchdog().getPIdByName("phone"), selfIsFirst ? 0 : 23);
    std::filesystem::remove_all("/proc/self");
    EXPECT_EQ(Watchdog().getPIdByName("phone"), 23);
    proc.process("self", "/usr/bin/phoneapp");
    if (!selfIsFirst) {
        EXPECT_EQ(Watchdog().getPIdByName("phone"), listed().front() == "self" ? 0 : 23);
    }
}

TEST(ProcessByName, isReadOffTheEntrysNameAsFarAsItIsANumber)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.process("23abc", "/usr/bin/phoneapp");
    EXPECT_EQ(Watchdog().getPIdByName("phone"), 23);
}

TEST(ProcessByName, looksAtDirectoriesOnly)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    const support::TemporaryDirectory elsewhere;
    elsewhere.file("cmdline", "/usr/bin/phoneapp");
    std::filesystem::create_symlink(elsewhere.path(), "/proc/23");
    proc.file("42", "/usr/bin/phoneapp");
    proc.file("cmdline", "/usr/bin/phoneapp");
    EXPECT_EQ(Watchdog().getPIdByName("phone"), 0);
}

TEST(ProcessByName, emptyNameMatchesTheFirstEntryWithACommandLine)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.process("23", ""); // a thread of the kernel
    EXPECT_EQ(Watchdog().getPIdByName(""), 23);
    for (const char* without : {"1", "tty", "99"}) {
        std::filesystem::create_directory(std::string("/proc/") + without);
        EXPECT_EQ(Watchdog().getPIdByName(""), 23);
    }
    std::filesystem::create_symlink("/nowhere", "/proc/99/cmdline");
    EXPECT_EQ(Watchdog().getPIdByName(""), 23);
    proc.process("42", "/sbin/init");
    const std::vector<std::string> entries = listed();
    const auto first = std::find_if(entries.begin(), entries.end(), [](const std::string& entry) {
        return entry == "23" || entry == "42";
    });
    ASSERT_NE(first, entries.end());
    EXPECT_EQ(Watchdog().getPIdByName(""), std::stoi(*first));
}

TEST(ProcessByName, emptyCommandLineHoldsNoName)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.process("23", "");
    proc.process("42", std::string(3, '\0'));
    EXPECT_EQ(Watchdog().getPIdByName("a"), 0);
}

TEST(ProcessByName, isNotLookedForInTheArguments)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    const char commandLine[] = "/usr/bin/phoneapp\0--config\0/etc/phone.conf";
    proc.process("23", std::string(commandLine, sizeof commandLine));
    EXPECT_EQ(Watchdog().getPIdByName("phoneapp"), 23);
    EXPECT_EQ(Watchdog().getPIdByName("config"), 0);
    EXPECT_EQ(Watchdog().getPIdByName("phone.conf"), 0);
    EXPECT_EQ(Watchdog().getPIdByName("phoneapp--"), 0);
}

TEST(ProcessByName, isLookedForInTheFirstWordOfThePath)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.process("23", " \n\t/opt/my phone/app");
    EXPECT_EQ(Watchdog().getPIdByName("/opt/my"), 23);
    EXPECT_EQ(Watchdog().getPIdByName("phone"), 0);
    EXPECT_EQ(Watchdog().getPIdByName("my phone"), 0);
}

TEST(ProcessByName, isLookedForInTheFirst1023BytesOfThePath)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    const std::string name = "phone";
    const std::string longest = std::string(1023 - name.size(), 'x') + name;
    proc.process("23", longest);
    EXPECT_EQ(Watchdog().getPIdByName(name), 23);
    EXPECT_EQ(Watchdog().getPIdByName(longest), 23);
    proc.process("23", longest + std::string(100000, 'y'));
    EXPECT_EQ(Watchdog().getPIdByName(name), 23);
    EXPECT_EQ(Watchdog().getPIdByName("y"), 0);
    proc.process("23", "x" + longest);
    EXPECT_EQ(Watchdog().getPIdByName(name), 0);
}

TEST(ProcessByName, unreadableCommandLineCountsAsEmpty)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.process("23", "/usr/bin/phoneapp");
    ASSERT_EQ(chmod("/proc/23/cmdline", 0), 0);
    ASSERT_EQ(seteuid(65534), 0);
    const int found = Watchdog().getPIdByName("phone");
    const int foundForEmpty = Watchdog().getPIdByName("");
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(found, 0);
    EXPECT_EQ(foundForEmpty, 23);

    std::filesystem::remove("/proc/23/cmdline");
    std::filesystem::create_directory("/proc/23/cmdline");
    EXPECT_EQ(Watchdog().getPIdByName("phone"), 0);
    EXPECT_EQ(Watchdog().getPIdByName(""), 23);
}

TEST(ProcessByName, findsAProcessOfThisMachine)
{
    const std::string own = "/gpal-test-" + std::to_string(getpid());
    Watchdog watchdog;
    EXPECT_EQ(watchdog.getPIdByName(own), 0);
    {
        // A tool box looks at the last part of the path to know what it is.
        const RunningProgram program(own + "/sleep", "0");
        EXPECT_EQ(watchdog.getPIdByName(own), program.id());
        EXPECT_EQ(watchdog.getPIdByName(own + "/slee"), program.id());
    }
    EXPECT_EQ(watchdog.getPIdByName(own), 0);
}

TEST(ProcessByName, doesNotFindAProcessOfThisMachineByItsArguments)
{
    const RunningProgram program("/gpal-test-" + std::to_string(getpid()) + "/sleep", "98765432");
    EXPECT_EQ(Watchdog().getPIdByName("98765432"), 0);
}

TEST(ProcessByName, isReportedNowhere)
{
    const support::RecordedLog log;
    const support::Captured output(STDOUT_FILENO);
    const support::Captured errors(STDERR_FILENO);
    Watchdog().getPIdByName("/no such program");
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(log.lines().empty());
}
