// The serial console's modes, on an /etc of the tests' own and with commands that are only noted.
#include <gpal/SerialPortConfiguration.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "process/console_table.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::contentOf;
using testing::ElementsAre;

namespace
{

const std::string GETTY = "ttyS0::respawn:/sbin/getty 115200 ttyS0";
const std::string SHELL = "ttyS0::respawn:/bin/sh";

constexpr auto LOGIN = SerialPortConfiguration::INTERACTIVE_LOGIN;
constexpr auto NO_LOGIN = SerialPortConfiguration::INTERACTIVE_NO_LOGIN;
constexpr auto NO_CONSOLE = SerialPortConfiguration::NON_INTERACTIVE;

const char* const REREAD = "kill -s SIGHUP 1";
const char* const KILL_LOGIN_SHELLS =
    "ps | grep \"\\-sh *$\" | sed -n \"s/  *\\([0-9][0-9]*\\).*/\\1/p\" | xargs kill -9";
const char* const KILL_SHELLS =
    "ps | grep \"/bin/sh *$\" | sed -n \"s/  *\\([0-9][0-9]*\\).*/\\1/p\" | xargs kill -9";

SerialPortConfiguration::SerialPortMode mode(int value)
{
    return static_cast<SerialPortConfiguration::SerialPortMode>(value);
}

class SerialConsole : public ConsoleTable
{
protected:
    static void write(const std::string& table) { std::ofstream(TABLE) << table; }

    /// The table that \p mode makes of \p table.
    static std::string rewritten(SerialPortConfiguration::SerialPortMode mode,
                                 const std::string& table)
    {
        write(table);
        SerialPortConfiguration::setSerialPortMode(mode);
        EXPECT_FALSE(support::exists(NEW_TABLE));
        return contentOf(TABLE);
    }
};

/// The descriptors of this program that lead to \p path.
int descriptorsOf(const std::string& path)
{
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        found += std::filesystem::read_symlink(entry.path(), gone) == path ? 1 : 0;
    }
    return found;
}

} // namespace

TEST(SerialPortMode, hasItsValues)
{
    EXPECT_EQ(0, static_cast<int>(LOGIN));
    EXPECT_EQ(1, static_cast<int>(NO_LOGIN));
    EXPECT_EQ(2, static_cast<int>(NO_CONSOLE));
}

TEST(SerialPortMode, isValidInExactlyThreeTexts)
{
    for (const char* text : {"interactive_login", "interactive_no_login", "non_interactive"}) {
        EXPECT_TRUE(SerialPortConfiguration::isValidSerialPortMode(text)) << text;
    }
    for (const char* text :
         {"", "INTERACTIVE_LOGIN", "Non_interactive", "interactive", "interactive_login ",
          " non_interactive", "interactive_no_login\n", "interactive_log", "0", "1", "2"}) {
        EXPECT_FALSE(SerialPortConfiguration::isValidSerialPortMode(text)) << text;
    }
    EXPECT_FALSE(
        SerialPortConfiguration::isValidSerialPortMode(std::string("interactive_login\0", 18)));
}

TEST(SerialPortMode, comesFromItsTextAndFromAnyOtherAsTheShell)
{
    const auto modeOf = SerialPortConfiguration::stringToSerialPortMode;
    EXPECT_EQ(LOGIN, modeOf("interactive_login"));
    EXPECT_EQ(NO_LOGIN, modeOf("interactive_no_login"));
    EXPECT_EQ(NO_CONSOLE, modeOf("non_interactive"));
    for (const char* text : {"", "INTERACTIVE_LOGIN", "NON_INTERACTIVE", "interactive_login ",
                             "non_interactive_", "0", "2"}) {
        EXPECT_EQ(NO_LOGIN, modeOf(text)) << text;
    }
}

TEST(SerialPortMode, givesItsTextAndTheShellsForAnyOtherValue)
{
    const auto textOf = SerialPortConfiguration::serialPortModeToString;
    EXPECT_EQ("interactive_login", textOf(LOGIN));
    EXPECT_EQ("interactive_no_login", textOf(NO_LOGIN));
    EXPECT_EQ("non_interactive", textOf(NO_CONSOLE));
    for (const int other : {-1, 3, 4, 4711}) {
        EXPECT_EQ("interactive_no_login", textOf(mode(other))) << other;
    }
}

TEST_F(SerialConsole, hasOneOfItsLinesActiveOrNone)
{
    const std::string before = "::sysinit:/etc/rcS\n" + GETTY + "\n" + SHELL + "\n";
    const std::string start = "::sysinit:/etc/rcS\n";
    EXPECT_EQ(start + GETTY + "\n#" + SHELL + "\n\n", rewritten(LOGIN, before));
    EXPECT_EQ(start + "#" + GETTY + "\n" + SHELL + "\n\n", rewritten(NO_LOGIN, before));
    EXPECT_EQ(start + "#" + GETTY + "\n#" + SHELL + "\n\n", rewritten(NO_CONSOLE, before));
    EXPECT_EQ(start + "#" + GETTY + "\n#" + SHELL + "\n\n", rewritten(mode(3), before));
}

TEST_F(SerialConsole, switchesLinesThatAreCommentedOut)
{
    const std::string before = "#" + GETTY + "\n#" + SHELL + "\n";
    EXPECT_EQ(GETTY + "\n#" + SHELL + "\n\n", rewritten(LOGIN, before));
    EXPECT_EQ("#" + GETTY + "\n" + SHELL + "\n\n", rewritten(NO_LOGIN, before));
    EXPECT_EQ("#" + GETTY + "\n#" + SHELL + "\n\n", rewritten(NO_CONSOLE, before));
}

TEST_F(SerialConsole, replacesTheWholeOfALineThatContainsAConsoleEntry)
{
    const std::string before = "  ## was: " + GETTY + " vt100 # console\n" + "x" + SHELL +
                               " -l\n####" + SHELL + "\n\t" + GETTY + "\r\n";
    EXPECT_EQ(GETTY + "\n#" + SHELL + "\n#" + SHELL + "\n" + GETTY + "\n\n",
              rewritten(LOGIN, before));
    EXPECT_EQ("#" + GETTY + "\n" + SHELL + "\n" + SHELL + "\n#" + GETTY + "\n\n",
              rewritten(NO_LOGIN, before));
}

TEST_F(SerialConsole, looksForTheShellInWhatIsLeftOfALineWithBothEntries)
{
    const std::string before = SHELL + " " + GETTY + "\n";
    EXPECT_EQ(GETTY + "\n\n", rewritten(LOGIN, before));
    EXPECT_EQ("#" + GETTY + "\n\n", rewritten(NO_LOGIN, before));
}

TEST_F(SerialConsole, copiesEveryOtherLineByteForByte)
{
    std::string others = "# comment\n\n \t\nttyS1::respawn:/bin/sh\n"
                         "ttyS0::askfirst:/bin/sh\nttyS0::respawn:/sbin/getty 9600 ttyS0\n"
                         "TTYS0::RESPAWN:/BIN/SH\nwindows\r\nbytes \x01\xff\xc3\xa4 end\n  "
                         "::ctrlaltdel:/sbin/reboot  \n";
    others += std::string("nul\0inside\n", 11) + std::string(100000, 'x') + "\n";
    for (const auto each : {LOGIN, NO_LOGIN, NO_CONSOLE}) {
        EXPECT_EQ(others + "\n", rewritten(each, others));
    }
}

TEST_F(SerialConsole, growsByAnEmptyLineWithEachRewrite)
{
    EXPECT_EQ("a\n\n", rewritten(LOGIN, "a\n"));
    SerialPortConfiguration::setSerialPortMode(NO_LOGIN);
    EXPECT_EQ("a\n\n\n", contentOf(TABLE));
    SerialPortConfiguration::setSerialPortMode(NO_CONSOLE);
    EXPECT_EQ("a\n\n\n\n", contentOf(TABLE));
}

TEST_F(SerialConsole, endsALastLineThatHadNoNewline)
{
    EXPECT_EQ("a\nb\n", rewritten(LOGIN, "a\nb"));
    EXPECT_EQ("a\n#" + GETTY + "\n", rewritten(NO_CONSOLE, "a\n" + GETTY));
}

TEST_F(SerialConsole, makesAnEmptyLineOfAnEmptyTable)
{
    EXPECT_EQ("\n", rewritten(LOGIN, "")) << "the end is only seen by reading";
}

TEST_F(SerialConsole, makesItsNewTableFromScratch)
{
    std::ofstream(NEW_TABLE) << std::string(1000, 'o') << "\n";
    EXPECT_EQ("a\n\n", rewritten(LOGIN, "a\n"));
}

TEST_F(SerialConsole, hasEachLineInTheNewTableBeforeItReadsTheNext)
{
    ASSERT_EQ(0, mkfifo(TABLE.c_str(), 0600));
    std::ofstream(NEW_TABLE) << "older\n";
    std::thread switching([] { SerialPortConfiguration::setSerialPortMode(NO_CONSOLE); });
    EXPECT_TRUE(support::eventually([] { return contentOf(NEW_TABLE).empty(); }))
        << "the new table is opened first";
    {
        std::ofstream writer(TABLE);
        writer << "a\n" << SHELL << "\n" << std::flush;
        EXPECT_TRUE(
            support::eventually([] { return contentOf(NEW_TABLE) == "a\n#" + SHELL + "\n"; }));
        EXPECT_TRUE(m_commands.commands().empty());
    }
    switching.join();
    EXPECT_EQ("a\n#" + SHELL + "\n\n", contentOf(TABLE));
}

TEST_F(SerialConsole, letsInitRereadItsTableAndEndsShellsForALoginPrompt)
{
    rewritten(LOGIN, "a\n");
    EXPECT_THAT(m_commands.commands(), ElementsAre(REREAD, KILL_LOGIN_SHELLS, KILL_SHELLS));
}

TEST_F(SerialConsole, endsGettyAndLoginInEveryOtherMode)
{
    int asked = 0;
    for (const auto each : {NO_LOGIN, NO_CONSOLE, mode(3), mode(-1)}) {
        rewritten(each, "a\n");
        const std::vector<std::string> all = m_commands.commands();
        const std::vector<std::string> latest(all.begin() + asked, all.end());
        EXPECT_THAT(latest, ElementsAre(REREAD, KILL_LOGIN_SHELLS, KILL_SHELLS, "killall -9 getty",
                                        "killall -9 login"));
        asked += 5;
    }
}

TEST_F(SerialConsole, runsEveryCommandWhateverBecomesOfTheOthers)
{
    write("a\n");
    const support::RecordedCommands failing(-1);
    SerialPortConfiguration::setSerialPortMode(NO_CONSOLE);
    EXPECT_EQ(5U, failing.commands().size());
}

TEST_F(SerialConsole, hasTheTableInPlaceAndBothFilesClosedBeforeItRunsCommands)
{
    write(GETTY + "\n");
    std::vector<std::string> tables;
    int open = 0;
    const support::Replacement looking(support::calls::system, [&](const char*) {
        tables.push_back(contentOf(TABLE));
        open += descriptorsOf(TABLE) + descriptorsOf(NEW_TABLE);
        open += descriptorsOf(TABLE + " (deleted)");
        return 0;
    });
    SerialPortConfiguration::setSerialPortMode(NO_LOGIN);
    const std::string expected = "#" + GETTY + "\n\n";
    EXPECT_THAT(tables, ElementsAre(expected, expected, expected, expected, expected));
    EXPECT_EQ(0, open);
}

TEST_F(SerialConsole, complainsOfAFailedRenameAndGoesOn)
{
    write("a\n");
    ASSERT_TRUE(support::mountOver(TABLE, TABLE)) << "nothing is renamed over a mount point";
    std::string complaint;
    {
        const support::Captured errors(STDERR_FILENO);
        SerialPortConfiguration::setSerialPortMode(NO_CONSOLE);
        complaint = errors.text();
    }
    umount2(TABLE.c_str(), MNT_DETACH);
    EXPECT_EQ(std::string("Error renaming file: : ") + std::strerror(EBUSY) + "\n", complaint);
    EXPECT_EQ("a\n", contentOf(TABLE));
    EXPECT_EQ("a\n\n", contentOf(NEW_TABLE)) << "left behind";
    EXPECT_EQ(5U, m_commands.commands().size());
}

TEST_F(SerialConsole, saysNothingWhenAllIsWell)
{
    const support::Captured output(STDOUT_FILENO);
    const support::Captured errors(STDERR_FILENO);
    const support::RecordedLog log;
    rewritten(NO_CONSOLE, GETTY + "\n");
    EXPECT_EQ("", output.text());
    EXPECT_EQ("", errors.text());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SerialConsole, noticesANewTableThatCannotBeWrittenOnlyWhenItIsRenamed)
{
    write("a\n");
    std::filesystem::create_directory(NEW_TABLE);
    std::string complaint;
    {
        const support::Captured errors(STDERR_FILENO);
        SerialPortConfiguration::setSerialPortMode(LOGIN);
        complaint = errors.text();
    }
    EXPECT_EQ(std::string("Error renaming file: : ") + std::strerror(ENOTDIR) + "\n", complaint);
    EXPECT_EQ("a\n", contentOf(TABLE));
    EXPECT_EQ(3U, m_commands.commands().size());
}

TEST_F(SerialConsole, goesOnForEverWithoutATable)
{
    const pid_t switching = fork();
    if (switching == 0) {
        SerialPortConfiguration::setSerialPortMode(LOGIN);
        _exit(0);
    }
    // The empty lines that it writes fill whatever room there is.
    EXPECT_TRUE(support::eventually([] { return contentOf(NEW_TABLE).size() > 10000; }));
    int status = 0;
    EXPECT_EQ(0, waitpid(switching, &status, WNOHANG)) << "not done yet";
    EXPECT_EQ(std::string(100, '\n'), contentOf(NEW_TABLE).substr(0, 100));
    kill(switching, SIGKILL);
    waitpid(switching, &status, 0);
}
