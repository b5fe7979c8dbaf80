// The console that init keeps alive, switched through all of its modes.
#include <gpal/SerialPortConfiguration.h>

#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "device/booted.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::contentOf;
using support::eventually;

namespace
{

const char* const TABLE = "/etc/inittab";
const std::string GETTY = "/sbin/getty 115200 ttyS0";
const std::string SHELL = "/bin/sh";
const std::string LOGIN_SHELL = "-sh";
const std::string GETTY_LINE = "ttyS0::respawn:" + GETTY;
const std::string SHELL_LINE = "ttyS0::respawn:" + SHELL;

struct ConsoleProcess {
    int id;
    std::string command;
};

/// The command line of a process; "" of one that is gone or is none of init's children.
std::string commandOfChildOfInit(const std::string& directory)
{
    std::ifstream status(directory + "/status");
    for (std::string word; status >> word;) {
        if (word == "PPid:" && status >> word && word != "1") {
            return "";
        }
    }
    std::string command = contentOf(directory + "/cmdline");
    for (char& separator : command) {
        separator = separator == '\0' ? ' ' : separator;
    }
    return command.substr(0, command.find_last_not_of(' ') + 1);
}

/// What init lets run on the console.
std::vector<ConsoleProcess> consoleProcesses()
{
    std::vector<ConsoleProcess> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (std::isdigit(static_cast<unsigned char>(name[0])) == 0) {
            continue;
        }
        const std::string command = commandOfChildOfInit(entry.path());
        if (command == GETTY || command == SHELL || command == LOGIN_SHELL) {
            found.push_back({std::stoi(name), command});
        }
    }
    return found;
}

std::vector<std::string> consoleCommands()
{
    std::vector<std::string> commands;
    for (const ConsoleProcess& process : consoleProcesses()) {
        commands.push_back(process.command);
    }
    return commands;
}

/// Whether the console comes to have these processes and then keeps them, looked at for longer than
/// init takes to start one again.
bool consoleSettlesAt(const std::vector<std::string>& commands)
{
    if (!eventually([&] { return consoleCommands() == commands; })) {
        return false;
    }
    std::this_thread::sleep_for(std::chrono::seconds(3));
    return consoleCommands() == commands;
}

int theOneProcess()
{
    const std::vector<ConsoleProcess> processes = consoleProcesses();
    return processes.size() == 1 ? processes[0].id : -1;
}

/// A program that waits for input until it is ended, under the name that it gives itself.
class Waiting
{
public:
    Waiting(const char* program, const char* name, const char* argument = nullptr)
    {
        EXPECT_EQ(pipe(m_input), 0);
        m_id = fork();
        if (m_id == 0) {
            dup2(m_input[0], STDIN_FILENO);
            close(m_input[1]);
            execl(program, name, argument, nullptr);
            _exit(127);
        }
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting()
    {
        close(m_input[0]);
        close(m_input[1]);
        waitpid(m_id, nullptr, 0);
    }

    /// The signal that ended it; 0 while it waits.
    int endedBy() const
    {
        siginfo_t end{};
        waitid(P_PID, static_cast<id_t>(m_id), &end, WEXITED | WNOHANG | WNOWAIT);
        return end.si_code == CLD_KILLED ? end.si_status : 0;
    }
    bool isWaiting() const
    {
        siginfo_t end{};
        return waitid(P_PID, static_cast<id_t>(m_id), &end, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               end.si_pid == 0;
    }

private:
    int m_input[2]{};
    pid_t m_id = -1;
};

std::string withLine(std::string table, const std::string& line, const std::string& replacement)
{
    const std::size_t at = table.find(line);
    return table.replace(at, line.size(), replacement);
}

class Console : public devicetest::OnTheDevice
{
protected:
    void prepare() override
    {
        m_table = contentOf(TABLE);
        ASSERT_THAT(m_table, testing::HasSubstr("\n" + GETTY_LINE + "\n#" + SHELL_LINE + "\n"));
        m_withoutConsole = withLine(m_table, GETTY_LINE, "#" + GETTY_LINE);
        m_withShell = withLine(m_withoutConsole, "#" + SHELL_LINE, SHELL_LINE);
        ASSERT_TRUE(consoleSettlesAt({GETTY}));
        m_getty = theOneProcess();
    }

    void restore() override
    {
        std::ofstream(TABLE) << m_table;
        EXPECT_EQ(kill(1, SIGHUP), 0);
        EXPECT_TRUE(eventually([] { return onlyTheLoginPromptIsLeft(); }));
        EXPECT_TRUE(consoleSettlesAt({GETTY})) << testing::PrintToString(consoleCommands());
        EXPECT_EQ(contentOf(TABLE), m_table);
    }

    /// Ends all shells on the console: init may have started one more before it read the table
    /// that has the prompt.
    static bool onlyTheLoginPromptIsLeft()
    {
        const std::vector<ConsoleProcess> processes = consoleProcesses();
        for (const ConsoleProcess& process : processes) {
            if (process.command != GETTY) {
                kill(process.id, SIGKILL);
            }
        }
        return processes.size() == 1 && processes[0].command == GETTY;
    }

    static void set(SerialPortConfiguration::SerialPortMode mode)
    {
        SerialPortConfiguration::setSerialPortMode(mode);
    }

    std::string m_table;
    std::string m_withoutConsole;
    std::string m_withShell;
    int m_getty = -1;
};

} // namespace

TEST_F(Console, nonInteractiveHasNeitherLoginPromptNorShell)
{
    set(SerialPortConfiguration::NON_INTERACTIVE);
    EXPECT_TRUE(consoleSettlesAt({})) << testing::PrintToString(consoleCommands());
    EXPECT_EQ(contentOf(TABLE), m_withoutConsole + "\n");
}

TEST_F(Console, withoutLoginHasAShellInPlaceOfTheLoginPrompt)
{
    set(SerialPortConfiguration::INTERACTIVE_NO_LOGIN);
    EXPECT_TRUE(consoleSettlesAt({SHELL})) << testing::PrintToString(consoleCommands());
    EXPECT_EQ(contentOf(TABLE), m_withShell + "\n");
}

TEST_F(Console, withLoginKeepsItsPromptAndLosesNothingButItsShells)
{
    set(SerialPortConfiguration::INTERACTIVE_LOGIN);
    EXPECT_TRUE(consoleSettlesAt({GETTY})) << testing::PrintToString(consoleCommands());
    EXPECT_EQ(theOneProcess(), m_getty) << "nobody is thrown out who hasn't logged in";
    EXPECT_EQ(contentOf(TABLE), m_table + "\n");
}

TEST_F(Console, endsTheShellsOfItsUsersInEveryModeButNoScriptsAndLoginsOnlyWithoutPrompt)
{
    const support::TemporaryDirectory directory;
    const std::string script = directory.file("script", "read line\n");
    const std::string login = directory.file("login", "#!/bin/sh\nread line\n");
    std::filesystem::permissions(login, std::filesystem::perms::owner_all);
    const Waiting running(SHELL.c_str(), SHELL.c_str(), script.c_str());
    const Waiting loggingIn(login.c_str(), "login");
    for (const auto mode :
         {SerialPortConfiguration::INTERACTIVE_LOGIN, SerialPortConfiguration::NON_INTERACTIVE,
          SerialPortConfiguration::INTERACTIVE_NO_LOGIN}) {
        const Waiting plain(SHELL.c_str(), SHELL.c_str());
        const Waiting loggedIn(SHELL.c_str(), LOGIN_SHELL.c_str());
        std::this_thread::sleep_for(std::chrono::milliseconds(200)); // the programs are run
        set(mode);
        EXPECT_TRUE(eventually([&] { return plain.endedBy() == SIGKILL; })) << "mode " << mode;
        EXPECT_TRUE(eventually([&] { return loggedIn.endedBy() == SIGKILL; })) << "mode " << mode;
        EXPECT_TRUE(running.isWaiting()) << "mode " << mode;
        const bool prompting = mode == SerialPortConfiguration::INTERACTIVE_LOGIN;
        const int end = prompting ? 0 : SIGKILL;
        EXPECT_TRUE(eventually([&] { return loggingIn.endedBy() == end; })) << "mode " << mode;
        EXPECT_EQ(loggingIn.isWaiting(), prompting) << "mode " << mode;
    }
}

TEST_F(Console, goesThroughAllOfItsModesAndBack)
{
    set(SerialPortConfiguration::INTERACTIVE_NO_LOGIN);
    ASSERT_TRUE(consoleSettlesAt({SHELL}));
    const int shell = theOneProcess();
    set(SerialPortConfiguration::INTERACTIVE_NO_LOGIN);
    ASSERT_TRUE(consoleSettlesAt({SHELL}));
    EXPECT_NE(theOneProcess(), shell) << "a plain shell is ended, and init starts another";
    set(SerialPortConfiguration::NON_INTERACTIVE);
    ASSERT_TRUE(consoleSettlesAt({}));
    set(SerialPortConfiguration::INTERACTIVE_LOGIN);
    ASSERT_TRUE(consoleSettlesAt({GETTY}));
    EXPECT_NE(theOneProcess(), m_getty);
    set(SerialPortConfiguration::INTERACTIVE_NO_LOGIN);
    ASSERT_TRUE(consoleSettlesAt({SHELL}));
    set(SerialPortConfiguration::INTERACTIVE_LOGIN);
    ASSERT_TRUE(consoleSettlesAt({GETTY}));
    EXPECT_EQ(contentOf(TABLE), m_table + "\n\n\n\n\n\n") << "an empty line for each rewrite";
}
