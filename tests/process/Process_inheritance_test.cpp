// What a child gets of its parent.
#include <gpal/Process.h>

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>

#include "programs.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::contentOf;

namespace
{

/// Lets a shell run \p commands with the path of a file as $1 and returns what they left in it.
std::string reported(const std::string& commands, char** environment = environ)
{
    const support::TemporaryDirectory directory;
    TextVector argv{"/bin/sh", "-c", commands, "sh", directory.path("report")};
    Process process;
    EXPECT_EQ(1, process.start(argv.count(), argv.get(), environment, nullptr));
    EXPECT_EQ(0, process.waitForExit());
    return contentOf(directory.path("report"));
}

std::string environmentIn(char** environment)
{
    // The shell's own, so it must not become the other program.
    return reported("/bin/cat /proc/$$/environ > \"$1\"; exit", environment);
}

/// The line of the caller's own status that starts with \p name.
std::string ownStatus(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line) && line.compare(0, name.size(), name) != 0) {
    }
    return line + "\n";
}

} // namespace

TEST(ProcessChild, getsTheArgumentVectorAsItIs)
{
    const support::TemporaryDirectory directory;
    const std::string script = writeProgram(
        directory.path("script"),
        "#!/bin/sh\nout=\"$1\"; shift\nprintf '%s|' \"$0\" \"$#\" \"$@\" > \"$out\"\n", 0700);
    Process process;
    start(process, {script, directory.path("report"), "two words", "", "$HOME;*", "-x", "last\n"});
    EXPECT_EQ(0, process.waitForExit());
    EXPECT_EQ(script + "|5|two words||$HOME;*|-x|last\n|", contentOf(directory.path("report")));
}

TEST(ProcessChild, getsTheEnvironmentVectorAsItIs)
{
    TextVector environment{"B=two words", "A=1", "B=again", "no assignment", "=", "EMPTY="};
    const std::string expected("B=two words\0A=1\0B=again\0no assignment\0=\0EMPTY=\0", 47);
    EXPECT_EQ(expected, environmentIn(environment.get()));
}

TEST(ProcessChild, getsNothingOfItsParentsEnvironmentBeside)
{
    setenv("GPAL_TEST_OF_PARENT", "1", 1);
    TextVector none{};
    EXPECT_EQ("", environmentIn(none.get()));
}

TEST(ProcessChild, runsInTheDirectoryOfItsParent)
{
    const support::TemporaryDirectory directory;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    const std::string expected = std::filesystem::canonical(directory.path()).string() + "\n";
    EXPECT_EQ(expected, reported("pwd -P > \"$1\""));
    std::filesystem::current_path(before);
}

TEST(ProcessChild, hasTheDescriptorsOfItsParent)
{
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    Process process;
    startShell(process, "echo through > /proc/$$/fd/$1", std::to_string(ends[1]));
    EXPECT_EQ(0, process.waitForExit());
    close(ends[1]);
    char text[20] = {};
    EXPECT_EQ(8, read(ends[0], text, sizeof text));
    EXPECT_STREQ("through\n", text);
    close(ends[0]);
}

TEST(ProcessChild, writesToTheOutputsOfItsParent)
{
    const support::Captured output(STDOUT_FILENO);
    const support::Captured errors(STDERR_FILENO);
    Process process;
    startShell(process, "echo said; echo complained >&2");
    EXPECT_EQ(0, process.waitForExit());
    EXPECT_EQ("said\n", output.text());
    EXPECT_EQ("complained\n", errors.text());
}

TEST(ProcessChild, readsTheInputOfItsParent)
{
    const support::TemporaryDirectory directory;
    const std::string input = directory.file("input", "typed\n");
    const int saved = dup(STDIN_FILENO);
    ASSERT_NE(nullptr, std::freopen(input.c_str(), "r", stdin));
    EXPECT_EQ("typed\n", reported("exec /bin/cat > \"$1\""));
    dup2(saved, STDIN_FILENO);
    close(saved);
}

TEST(ProcessChild, hasTheSignalMaskOfItsParent)
{
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    EXPECT_EQ(ownStatus("SigBlk:"), reported("exec grep SigBlk: /proc/self/status > \"$1\""));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(ProcessChild, ignoresTheSignalsThatItsParentIgnores)
{
    const auto before = std::signal(SIGUSR1, SIG_IGN);
    Process process;
    start(process, {"/bin/sleep", "60"});
    EXPECT_EQ(-1, process.sigusr1());
    EXPECT_TRUE(process.isRunning());
    std::signal(SIGUSR1, before);
    finish(process);
}

TEST(ProcessChild, staysInTheProcessGroupAndSessionOfItsParent)
{
    Process process;
    start(process, {"/bin/sleep", "60"});
    EXPECT_EQ(getpgrp(), getpgid(process.ID()));
    EXPECT_EQ(getsid(0), getsid(process.ID()));
    finish(process);
}
