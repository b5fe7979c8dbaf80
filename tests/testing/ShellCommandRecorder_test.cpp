// Commands that are given to the shell, written down and not run.
#include <cstdlib>
#include <list>
#include <string>
#include <sys/wait.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/GPALException.h>
#include <gpal/Storage.h>
#include <gpal/testing/ShellCommandRecorder.h>

namespace
{

using gpal::testing::ShellCommandRecorder;
using testing::ElementsAre;

TEST(ShellCommandRecorder, remembersCommandsAndRunsNone)
{
    const ShellCommandRecorder shell;
    EXPECT_TRUE(Storage::unpackandunzip("/dev/null", "/tmp"));
    EXPECT_THAT(shell.commands(), ElementsAre("tar -xzvf /dev/null -C /tmp"));
}

TEST(ShellCommandRecorder, letsCommandsFail)
{
    ShellCommandRecorder shell;
    shell.result(1 << 8);
    EXPECT_FALSE(Storage::unpackandunzip("/dev/null", "/tmp"));
}

TEST(ShellCommandRecorder, remembersTheRebootToo)
{
    ShellCommandRecorder shell;
    shell.result(42);
    EXPECT_EQ(handleException("Worker", "escaped"), 42);
    EXPECT_THAT(shell.commands(), ElementsAre("reboot"));
}

TEST(ShellCommandRecorder, leavesTheSystemsShellInForce)
{
    {
        const ShellCommandRecorder shell;
    }
    const int status = std::system("exit 3");
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

} // namespace
