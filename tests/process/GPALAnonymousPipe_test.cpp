// Pipes that close themselves.
#include <gpal/GPALAnonymousPipe.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>

#include "support/observed.h"

namespace
{

bool isOpen(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

/// Leaves this program no free descriptor for a scope.
class NoFreeDescriptor
{
public:
    NoFreeDescriptor()
    {
        getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit none = m_before;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_NOFILE, &none);
    }
    NoFreeDescriptor(const NoFreeDescriptor&) = delete;
    NoFreeDescriptor& operator=(const NoFreeDescriptor&) = delete;
    ~NoFreeDescriptor() { setrlimit(RLIMIT_NOFILE, &m_before); }

private:
    rlimit m_before{};
};

} // namespace

TEST(GPALAnonymousPipe, carriesDataFromItsWriteEndToItsReadEnd)
{
    const GPALAnonymousPipe pipe;
    EXPECT_EQ(5, write(pipe.writeFd, "data", 5));
    char text[10] = {};
    EXPECT_EQ(5, read(pipe.readFd, text, sizeof text));
    EXPECT_STREQ("data", text);
    EXPECT_EQ(-1, write(pipe.readFd, "x", 1));
    EXPECT_EQ(-1, read(pipe.writeFd, text, 1));
}

TEST(GPALAnonymousPipe, carriesDataToAnotherProcess)
{
    const GPALAnonymousPipe pipe;
    const pid_t child = fork();
    if (child == 0) {
        _exit(write(pipe.writeFd, "child", 6) == 6 ? 0 : 1);
    }
    char text[10] = {};
    EXPECT_EQ(6, read(pipe.readFd, text, sizeof text));
    EXPECT_STREQ("child", text);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
}

TEST(GPALAnonymousPipe, isAPlainBlockingPipeThatChildrenInherit)
{
    const GPALAnonymousPipe pipe;
    for (const int end : {pipe.readFd, pipe.writeFd}) {
        EXPECT_EQ(0, fcntl(end, F_GETFD));
        EXPECT_EQ(0, fcntl(end, F_GETFL) & O_NONBLOCK);
    }
}

TEST(GPALAnonymousPipe, closesBothEndsWhenItGoes)
{
    int ends[2] = {};
    {
        const GPALAnonymousPipe pipe;
        ends[0] = pipe.readFd;
        ends[1] = pipe.writeFd;
        EXPECT_TRUE(isOpen(ends[0]));
        EXPECT_TRUE(isOpen(ends[1]));
    }
    EXPECT_FALSE(isOpen(ends[0]));
    EXPECT_FALSE(isOpen(ends[1]));
}

TEST(GPALAnonymousPipe, leavesADuplicateOfAnEndOpen)
{
    int kept = -1;
    {
        const GPALAnonymousPipe pipe;
        kept = dup(pipe.readFd);
        ASSERT_EQ(5, write(pipe.writeFd, "data", 5));
    }
    char text[10] = {};
    EXPECT_EQ(5, read(kept, text, sizeof text));
    EXPECT_EQ(0, read(kept, text, sizeof text)) << "no writer is left";
    close(kept);
}

TEST(GPALAnonymousPipe, closesItsEndsEvenIfSomebodyElseClosedThemBefore)
{
    int taken = -1;
    {
        const GPALAnonymousPipe pipe;
        close(pipe.readFd);
        taken = dup(STDERR_FILENO);
        ASSERT_EQ(pipe.readFd, taken) << "the number is used again";
    }
    EXPECT_FALSE(isOpen(taken));
}

TEST(GPALAnonymousPipe, closesWhatItsFieldsSay)
{
    const int other = dup(STDERR_FILENO);
    int kept = -1;
    {
        GPALAnonymousPipe pipe;
        kept = pipe.writeFd;
        pipe.writeFd = other;
    }
    EXPECT_FALSE(isOpen(other));
    EXPECT_TRUE(isOpen(kept));
    close(kept);
}

TEST(GPALAnonymousPipe, hasNoEndsWithoutAFreeDescriptorAndClosesNothingThen)
{
    const support::RecordedLog log;
    const GPALAnonymousPipe witness;
    {
        std::unique_ptr<GPALAnonymousPipe> pipe;
        {
            const NoFreeDescriptor none;
            pipe = std::make_unique<GPALAnonymousPipe>();
            EXPECT_EQ(EMFILE, errno);
        }
        EXPECT_EQ(-1, pipe->readFd);
        EXPECT_EQ(-1, pipe->writeFd);
    }
    EXPECT_TRUE(isOpen(witness.readFd));
    EXPECT_TRUE(isOpen(witness.writeFd));
    EXPECT_TRUE(isOpen(STDIN_FILENO) || isOpen(STDOUT_FILENO) || isOpen(STDERR_FILENO));
    EXPECT_TRUE(log.lines().empty());
}

TEST(GPALAnonymousPipe, hasItsReadEndFirst)
{
    const GPALAnonymousPipe pipe;
    EXPECT_LT(&pipe.readFd, &pipe.writeFd);
    EXPECT_TRUE(std::has_virtual_destructor_v<GPALAnonymousPipe>);
}
