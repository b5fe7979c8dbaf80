#include <gpal/OSWrappers.h>

#include <cerrno>
#include <gmock/gmock.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "support/plain_thread.h"
#include "support/replaceable.h"

using support::onAnotherThread;
using support::Replacement;
using testing::ElementsAre;
namespace calls = support::calls;

TEST(OSWrappers, sleepsOnceAndReturnsTheSecondsLeft)
{
    std::vector<unsigned int> asked;
    const Replacement sleep(calls::sleep, [&](unsigned int seconds) {
        asked.push_back(seconds);
        return 4U;
    });
    EXPECT_EQ(OSWrappers::sleepFor(9), 4U);
    EXPECT_THAT(asked, ElementsAre(9U));
}

TEST(OSWrappers, sleepsForReal)
{
    EXPECT_EQ(OSWrappers::sleepFor(0), 0U);
}

TEST(OSWrappers, namesTheProcessAndItsParent)
{
    EXPECT_EQ(OSWrappers::curID(), getpid());
    EXPECT_EQ(OSWrappers::curParentID(), getppid());
    onAnotherThread([] { EXPECT_EQ(OSWrappers::curID(), getpid()); });
}

TEST(OSWrappers, findsItsOwnProcess)
{
    EXPECT_TRUE(OSWrappers::testPID(getpid()));
}

TEST(OSWrappers, findsNoProcessThatDoesNotExist)
{
    constexpr int BEYOND_EVERY_PID = 0x7ffffff0;
    EXPECT_FALSE(OSWrappers::testPID(BEYOND_EVERY_PID));
}

TEST(OSWrappers, testsAProcessWithASignalThatDoesNothing)
{
    std::vector<std::pair<pid_t, int>> sent;
    int result = 0;
    const Replacement kill(calls::kill, [&](pid_t process, int signal) {
        sent.emplace_back(process, signal);
        errno = EPERM;
        return result;
    });
    EXPECT_TRUE(OSWrappers::testPID(1));
    result = 3;
    EXPECT_TRUE(OSWrappers::testPID(12));
    result = -1;
    EXPECT_FALSE(OSWrappers::testPID(123)) << "there, but another user's";
    EXPECT_THAT(sent, ElementsAre(std::pair<pid_t, int>(1, 0), std::pair<pid_t, int>(12, 0),
                                  std::pair<pid_t, int>(123, 0)));
}
