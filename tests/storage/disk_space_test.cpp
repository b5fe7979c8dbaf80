#include <gpal/Storage.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>

#include "support/file_calls.h"
#include "support/observed.h"

using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace calls = support::calls;

namespace
{

constexpr long long MIB = 1024 * 1024;

/// A file system of which the test says how it is filled, and what the layer asks for meanwhile.
class DiskSpace : public testing::Test
{
protected:
    DiskSpace()
    {
        unsetenv("MIRTA_USER_DISK");
        unsetenv("MIRTA_USER_DISK_RESERVED");
        unsetenv("MIRTA_USER_DISK_RESERVED_WORKINGMEMORY");
    }

    /// Blocks of \p size bytes: all, free, available to users.
    void holds(long size, unsigned long long total, unsigned long long free,
               unsigned long long available)
    {
        m_result = 0;
        m_figures.f_bsize = static_cast<decltype(m_figures.f_bsize)>(size);
        m_figures.f_blocks = total;
        m_figures.f_bfree = free;
        m_figures.f_bavail = available;
    }

    /// Leaves \p bytes to users.
    void leaves(long long bytes)
    {
        holds(1024, 1ULL << 30, 0, static_cast<unsigned>(bytes / 1024));
    }

    static void reserve(const char* disk, const char* reserved, const char* workingMemory)
    {
        setenv("MIRTA_USER_DISK", disk, 1);
        setenv("MIRTA_USER_DISK_RESERVED", reserved, 1);
        setenv("MIRTA_USER_DISK_RESERVED_WORKINGMEMORY", workingMemory, 1);
    }

    struct statfs m_figures {
    };
    int m_result = -1;
    std::vector<std::string> m_examined;
    std::vector<std::string> m_read; ///< variables

private:
    Replacement<int(const char*, struct statfs*)> m_statfs{
        calls::statfs, [this](const char* path, struct statfs* figures) {
            m_examined.emplace_back(path);
            *figures = m_figures;
            errno = EIO;
            return m_result;
        }};
    Replacement<char*(const char*)> m_getenv{calls::getenv, [this](const char* name) {
                                                 m_read.emplace_back(name);
                                                 return calls::getenv.original(name);
                                             }};
};

using DiskUsage = DiskSpace;
using DiskReserve = DiskSpace;
using UserDisk = DiskSpace;

} // namespace

TEST_F(DiskSpace, isWhatUsersMayStillFill)
{
    holds(1024, 1000, 400, 350);
    EXPECT_EQ(Storage::AbsoluteDiskSpace("/a path/"), 350 * 1024);
    EXPECT_THAT(m_examined, ElementsAre("/a path/"));
    EXPECT_THAT(m_read, IsEmpty());
}

TEST_F(DiskSpace, andUsedBlocksTogetherAreTheSize)
{
    holds(1024, 1000, 400, 350);
    EXPECT_EQ(Storage::AbsoluteDiskSize("/a path/"), 950 * 1024);
    EXPECT_THAT(m_examined, ElementsAre("/a path/"));
    EXPECT_THAT(m_read, IsEmpty());
}

TEST_F(DiskSpace, isCountedIn32BitsThatWrap)
{
    holds(4096, 3 * 262144, 3 * 262144, 3 * 262144);
    EXPECT_EQ(Storage::AbsoluteDiskSpace("/"), -1073741824) << "3 GiB";
    EXPECT_EQ(Storage::AbsoluteDiskSize("/"), -1073741824);
    holds(4096, 4 * 262144, 4 * 262144, 4 * 262144);
    EXPECT_EQ(Storage::AbsoluteDiskSpace("/"), 0) << "4 GiB";
    EXPECT_EQ(Storage::AbsoluteDiskSize("/"), 0);
    holds(4096, 5 * 262144, 5 * 262144, 5 * 262144);
    EXPECT_EQ(Storage::AbsoluteDiskSpace("/"), 1073741824) << "5 GiB";
    EXPECT_EQ(Storage::AbsoluteDiskSize("/"), 1073741824);
    holds(1, 10, 12, 1);
    EXPECT_EQ(Storage::AbsoluteDiskSize("/"), -1) << "a difference below 0";
}

TEST_F(DiskSpace, ofAFileSystemThatCannotBeExaminedIsUnknown)
{
    const support::RecordedLog log;
    for (auto* figure : {&Storage::AbsoluteDiskSpace, &Storage::AbsoluteDiskSize,
                         &Storage::UserDiskSpace, &Storage::UserDiskSize}) {
        errno = 0;
        EXPECT_EQ(figure("/user/data"), -1);
        EXPECT_EQ(errno, EIO);
    }
    EXPECT_EQ(Storage::checkDiskUsage("/user/data"), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(m_examined.size(), 5U);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(m_read, IsEmpty());
}

TEST_F(DiskUsage, isThePartThatUsersCannotFill)
{
    holds(1024, 1000, 400, 350);
    EXPECT_EQ(Storage::checkDiskUsage("/a path/"), 63);
    EXPECT_THAT(m_examined, ElementsAre("/a path/"));
    EXPECT_THAT(m_read, IsEmpty());
}

TEST_F(DiskUsage, isRounded)
{
    holds(1024, 1000, 800, 0);
    EXPECT_EQ(Storage::checkDiskUsage("/"), 100);
    holds(1024, 1000, 1000, 900);
    EXPECT_EQ(Storage::checkDiskUsage("/"), 0);
    holds(1024, 200, 199, 199);
    EXPECT_EQ(Storage::checkDiskUsage("/"), 1) << "half a percent";
    holds(1024, 201, 200, 200);
    EXPECT_EQ(Storage::checkDiskUsage("/"), 0) << "a little less";
}

TEST_F(DiskUsage, ofNothingHasResultsOfItsOwn)
{
    holds(1024, 0, 0, 350);
    EXPECT_EQ(Storage::checkDiskUsage("/"), -3) << "no blocks";
    holds(1024, 0, 0, 0);
    EXPECT_EQ(Storage::checkDiskUsage("/"), -3) << "no blocks, and none to share";
    holds(1024, 1000, 1000, 0);
    EXPECT_EQ(Storage::checkDiskUsage("/"), -2) << "none used and none available";
    holds(1024, 1, 6, 5);
    EXPECT_EQ(Storage::checkDiskUsage("/"), -2) << "a sum that wraps to 0";
}

TEST_F(DiskUsage, isCountedIn32BitsWithoutSign)
{
    holds(1024, 30000000, 0, 0);
    EXPECT_EQ(Storage::checkDiskUsage("/"), 100) << "3,000,000,000 is no negative number";
    holds(1024, 100000000, 50000000, 50000000);
    EXPECT_EQ(Storage::checkDiskUsage("/"), 7) << "5,000,000,000 wraps to 705,032,704";
    holds(1024, 10, 12, 5);
    EXPECT_EQ(Storage::checkDiskUsage("/"), 1431655699) << "(2^32 - 200 + 1) / 3";
}

TEST_F(DiskReserve, isTheVariablesValueOnTheUserDisk)
{
    reserve("/user", "1048576", "4096");
    EXPECT_EQ(Storage::ReserveSize("/user/data"), 1048576);
    EXPECT_THAT(m_read, ElementsAre("MIRTA_USER_DISK", "MIRTA_USER_DISK_RESERVED"));
    m_read.clear();
    EXPECT_EQ(Storage::ReservedWorkingSpaceSize("/user/data"), 4096);
    EXPECT_THAT(m_read, ElementsAre("MIRTA_USER_DISK", "MIRTA_USER_DISK_RESERVED_WORKINGMEMORY"));
    EXPECT_THAT(m_examined, IsEmpty());
}

TEST_F(DiskReserve, isNotEvenReadForOtherPaths)
{
    reserve("/user", "1048576", "4096");
    EXPECT_EQ(Storage::ReserveSize("/other"), 0);
    EXPECT_EQ(Storage::ReservedWorkingSpaceSize("/other"), 0);
    EXPECT_THAT(m_read, ElementsAre("MIRTA_USER_DISK", "MIRTA_USER_DISK"));
}

TEST_F(DiskReserve, isForPathsThatBeginWithTheDisksText)
{
    reserve("/user", "7", "8");
    for (const char* path : {"/user", "/user/", "/user2", "/user/user"}) {
        EXPECT_EQ(Storage::ReserveSize(path), 7) << path;
        EXPECT_EQ(Storage::ReservedWorkingSpaceSize(path), 8) << path;
    }
    for (const char* path : {"", "/use", "user", "/data/user", "//user"}) {
        EXPECT_EQ(Storage::ReserveSize(path), 0) << path;
        EXPECT_EQ(Storage::ReservedWorkingSpaceSize(path), 0) << path;
    }
}

TEST_F(DiskReserve, isForAllPathsWhenTheDiskIsEmptyText)
{
    reserve("", "7", "8");
    for (const char* path : {"", "/", "name"}) {
        EXPECT_EQ(Storage::ReserveSize(path), 7) << path;
        EXPECT_EQ(Storage::ReservedWorkingSpaceSize(path), 8) << path;
    }
}

TEST_F(DiskReserve, isNothingWithoutItsVariable)
{
    reserve("/user", "7", "8");
    unsetenv("MIRTA_USER_DISK_RESERVED");
    EXPECT_EQ(Storage::ReserveSize("/user"), 0);
    EXPECT_EQ(Storage::ReservedWorkingSpaceSize("/user"), 8);
    setenv("MIRTA_USER_DISK_RESERVED", "9", 1);
    unsetenv("MIRTA_USER_DISK_RESERVED_WORKINGMEMORY");
    EXPECT_EQ(Storage::ReserveSize("/user"), 9) << "read anew";
    EXPECT_EQ(Storage::ReservedWorkingSpaceSize("/user"), 0);
}

TEST_F(DiskReserve, isReadUpToTheFirstCharacterThatIsNoDigit)
{
    const struct {
        const char* text;
        int bytes;
    } cases[] = {{"12", 12},  {" \t\n12", 12}, {"+5", 5},  {"-7", -7}, {"12abc", 12}, {"12 34", 12},
                 {"0x10", 0}, {"010", 10},     {"abc", 0}, {"", 0},    {"- 7", 0},    {"1.9", 1}};
    for (const auto& one : cases) {
        reserve("/user", one.text, one.text);
        EXPECT_EQ(Storage::ReserveSize("/user"), one.bytes) << one.text;
        EXPECT_EQ(Storage::ReservedWorkingSpaceSize("/user"), one.bytes) << one.text;
    }
}

TEST_F(DiskReserve, needsTheUserDiskToBeNamed)
{
    setenv("MIRTA_USER_DISK_RESERVED", "7", 1);
    setenv("MIRTA_USER_DISK_RESERVED_WORKINGMEMORY", "8", 1);
    EXPECT_THROW(Storage::ReserveSize("/"), std::logic_error);
    EXPECT_THROW(Storage::ReservedWorkingSpaceSize(""), std::logic_error);
    EXPECT_THAT(m_read, ElementsAre("MIRTA_USER_DISK", "MIRTA_USER_DISK"));
}

TEST_F(UserDisk, leavesUsersWhatIsNotReserved)
{
    leaves(3 * MIB);
    reserve("/user", "1048576", "0");
    EXPECT_EQ(Storage::UserDiskSpace("/user/data"), 2 * MIB);
    reserve("/user", "1048576", "1024");
    EXPECT_EQ(Storage::UserDiskSpace("/user/data"), 2 * MIB - 1024);
    EXPECT_EQ(Storage::UserDiskSpace("/other"), 3 * MIB);
    EXPECT_THAT(m_examined, ElementsAre("/user/data", "/user/data", "/other"));
}

TEST_F(UserDisk, hasASizeWithoutTheReserves)
{
    holds(1024, 1000, 400, 350);
    reserve("/user", "1024", "2048");
    EXPECT_EQ(Storage::UserDiskSize("/user/data"), 947 * 1024);
    EXPECT_EQ(Storage::UserDiskSpace("/user/data"), 347 * 1024);
    EXPECT_EQ(Storage::UserDiskSize("/other"), 950 * 1024);
}

TEST_F(UserDisk, asksForTheReservesOneAfterTheOther)
{
    leaves(3 * MIB);
    reserve("/user", "1048576", "1024");
    for (auto* figure : {&Storage::UserDiskSpace, &Storage::UserDiskSize}) {
        m_read.clear();
        figure("/user/data");
        EXPECT_THAT(m_read,
                    ElementsAre("MIRTA_USER_DISK", "MIRTA_USER_DISK_RESERVED", "MIRTA_USER_DISK",
                                "MIRTA_USER_DISK_RESERVED_WORKINGMEMORY"));
    }
}

TEST_F(UserDisk, isFullWhenMoreIsReservedThanThereIs)
{
    holds(1024, 20, 10, 10);
    reserve("/user", "20000", "10000");
    EXPECT_EQ(Storage::UserDiskSpace("/user"), 0);
    EXPECT_EQ(Storage::UserDiskSize("/user"), 0);
    reserve("/user", "5120", "5120");
    EXPECT_EQ(Storage::UserDiskSpace("/user"), 0) << "exactly as much";
    EXPECT_EQ(Storage::UserDiskSize("/user"), 10 * 1024);
}

TEST_F(UserDisk, growsByANegativeReserveUpToWhere32BitsWrap)
{
    leaves(1 * MIB);
    reserve("/user", "-1000", "0");
    EXPECT_EQ(Storage::UserDiskSpace("/user"), MIB + 1000);
    reserve("/user", "-2147483648", "0");
    EXPECT_EQ(Storage::UserDiskSpace("/user"), 0);
    reserve("/user", "-2147483648", "-2147483648");
    EXPECT_EQ(Storage::UserDiskSpace("/user"), MIB) << "both wrap back";
}

TEST_F(UserDisk, withoutAFigureAboveZeroPassesItOnAndReadsNoVariable)
{
    holds(4096, 262144, 262144, 0);
    EXPECT_EQ(Storage::UserDiskSpace("/user"), 0);
    EXPECT_EQ(Storage::UserDiskSize("/user"), 0);
    holds(4096, 3 * 262144, 3 * 262144, 3 * 262144);
    EXPECT_EQ(Storage::UserDiskSpace("/user"), -1073741824);
    EXPECT_EQ(Storage::UserDiskSize("/user"), -1073741824);
    EXPECT_THAT(m_read, IsEmpty());
}

TEST_F(UserDisk, needsToBeNamedForAFigureAboveZero)
{
    leaves(1 * MIB);
    EXPECT_THROW(Storage::UserDiskSpace("/other"), std::logic_error);
    holds(1024, 1000, 400, 0);
    EXPECT_THROW(Storage::UserDiskSize("/other"), std::logic_error);
    EXPECT_EQ(Storage::UserDiskSpace("/other"), 0) << "no need at 0";
}
