// Child processes that run and those that never do: the same scenes are played with both.
#include <string>

#include <gtest/gtest.h>

#include <gpal/Process.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/testing/FakeProcesses.h>

namespace
{

const char* const SHELL = "/bin/sh";

class RealChildren
{
public:
    ProcessFactoryIfc& processes() { return m_processes; }

private:
    ProcessFactory m_processes;
};

/// What the shell does with the script below, told beforehand.
class FakeChildren
{
public:
    FakeChildren() { m_processes.exitWith(SHELL, 7); }
    ProcessFactoryIfc& processes() { return m_processes; }

private:
    gpal::testing::FakeProcesses m_processes;
};

template <typename Children>
class ProcessesAlike : public testing::Test
{
protected:
    ~ProcessesAlike() override { m_children.processes().destroy(m_child); }

    int start(std::string script)
    {
        std::string shell = SHELL;
        std::string option = "-c";
        char* argv[] = {shell.data(), option.data(), script.data(), nullptr};
        char* envp[] = {nullptr};
        return m_child->start(3, argv, envp, nullptr);
    }

    Children m_children;
    ProcessIfc* m_child = m_children.processes().getProcess();
};

using KindsOfChildren = testing::Types<RealChildren, FakeChildren>;
TYPED_TEST_SUITE(ProcessesAlike, KindsOfChildren);

TYPED_TEST(ProcessesAlike, areThereFromTheirStartUntilTheyAreWaitedFor)
{
    EXPECT_EQ(this->m_child->ID(), 0);
    EXPECT_TRUE(this->m_child->isRunning()); // id 0 stands for the caller's process group
    EXPECT_EQ(this->m_child->type(), ProcessTypeString::GENERIC_PROCESS);
    EXPECT_EQ(this->start("exit 7"), 1);
    EXPECT_GT(this->m_child->ID(), 0);
    EXPECT_EQ(this->m_child->type(), SHELL);
    EXPECT_TRUE(this->m_child->isRunning());
    EXPECT_EQ(this->m_child->waitForExit(), 7);
    EXPECT_FALSE(this->m_child->isRunning());
    EXPECT_EQ(this->m_child->waitForExit(), 0);
}

TYPED_TEST(ProcessesAlike, thatAreKilledEndByASignal)
{
    this->start("exec sleep 100");
    EXPECT_EQ(this->m_child->destroy(), -1);
    EXPECT_EQ(this->m_child->waitForExit(), -1);
}

TYPED_TEST(ProcessesAlike, thatAreGoneCannotBeSignalled)
{
    this->start("exit 7");
    this->m_child->waitForExit();
    EXPECT_THROW(this->m_child->destroy(), GPALProcessException);
    EXPECT_THROW(this->m_child->sigusr1(), GPALProcessException);
    EXPECT_THROW(this->m_child->sigusr2(), GPALProcessException);
}

TYPED_TEST(ProcessesAlike, startAgainAsAnotherChild)
{
    this->start("exit 7");
    const int before = this->m_child->ID();
    this->m_child->waitForExit();
    this->start("exit 7");
    EXPECT_NE(this->m_child->ID(), before);
    EXPECT_EQ(this->m_child->waitForExit(), 7);
}

TYPED_TEST(ProcessesAlike, needAProgram)
{
    char* nothing[] = {nullptr};
    EXPECT_THROW(this->m_child->start(0, nullptr, nullptr, nullptr), GPALProcessException);
    EXPECT_THROW(this->m_child->start(0, nothing, nullptr, nullptr), GPALProcessException);
    EXPECT_EQ(this->m_child->ID(), 0);
}

} // namespace
