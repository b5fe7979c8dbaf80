#include <gpal/Storage.h>

#include <cerrno>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "support/file_calls.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::Replacement;

namespace calls = support::calls;

namespace
{

class StoredFile : public testing::Test
{
protected:
    static int fail(int reason)
    {
        errno = reason;
        return -1;
    }

    support::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.file("file", "12345");
    const std::string m_none = m_directory.path("none");
};

constexpr uid_t NOBODY = 65534;

/// Makes someone else the real user; the effective one stays root.
class ForAnotherUser
{
public:
    ForAnotherUser() : m_isSo(setresuid(NOBODY, 0, 0) == 0) {}
    ForAnotherUser(const ForAnotherUser&) = delete;
    ForAnotherUser& operator=(const ForAnotherUser&) = delete;
    ~ForAnotherUser() { m_isSo = setresuid(0, 0, 0) == 0; }
    bool isSo() const { return m_isSo; }

private:
    bool m_isSo;
};

} // namespace

TEST_F(StoredFile, isThereOrNot)
{
    EXPECT_TRUE(Storage::fileExists(m_file));
    EXPECT_TRUE(Storage::fileExists_stat(m_file));
    EXPECT_TRUE(Storage::fileExists(m_directory.path()));
    EXPECT_TRUE(Storage::fileExists_stat(m_directory.path()));
    EXPECT_FALSE(Storage::fileExists(m_none));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Storage::fileExists_stat(m_file + "/below"));
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(StoredFile, isNotThereWhenOnlyALinkToItIs)
{
    EXPECT_EQ(Storage::createSymlink("none", m_directory.path("link")), 0);
    EXPECT_FALSE(Storage::fileExists(m_directory.path("link")));
    EXPECT_FALSE(Storage::fileExists_stat(m_directory.path("link")));
}

TEST_F(StoredFile, isThereForTheRealUserInOneTestAndForTheEffectiveOneInTheOther)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root may be two users at once";
    }
    ASSERT_EQ(chmod(m_directory.path().c_str(), 0700), 0);
    const ForAnotherUser onBehalf;
    ASSERT_TRUE(onBehalf.isSo());
    EXPECT_FALSE(Storage::fileExists(m_file));
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(Storage::fileExists_stat(m_file));
}

TEST_F(StoredFile, isAskedForByExistenceAlone)
{
    int asked = -1;
    const Replacement access(calls::access, [&](const char*, int mode) {
        asked = mode;
        return 0;
    });
    EXPECT_TRUE(Storage::fileExists(m_none));
    EXPECT_EQ(asked, F_OK);
}

TEST_F(StoredFile, hasASize)
{
    EXPECT_EQ(Storage::createSymlink("file", m_directory.path("link")), 0);
    EXPECT_EQ(Storage::fileSize(m_file), 5);
    EXPECT_EQ(Storage::fileSize(m_directory.path("link")), 5) << "that of the file";
    EXPECT_EQ(Storage::fileSize(m_directory.file("empty", "")), 0);
    EXPECT_EQ(Storage::fileSize(m_none), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(StoredFile, hasASizeOfNoMoreThan32Bits)
{
    const Replacement stat(calls::stat, [](const char*, struct stat* file) {
        file->st_size = (off_t(1) << 32) + 7;
        return 0;
    });
    EXPECT_EQ(Storage::fileSize(m_file), 7);
}

TEST_F(StoredFile, hasASizeBeyondThatTheSystemGivesToo)
{
    constexpr off_t SIZE = (off_t(5) << 30) + 7;
    if (truncate(m_file.c_str(), SIZE) != 0) {
        GTEST_SKIP() << "the file system has no files of 5 GiB, not even empty ones";
    }
    EXPECT_EQ(Storage::fileSize(m_file), (1 << 30) + 7);
    ASSERT_EQ(truncate(m_file.c_str(), off_t(3) << 30), 0);
    EXPECT_EQ(Storage::fileSize(m_file), -(1 << 30));
}

TEST_F(StoredFile, hasATimeOfModification)
{
    const timeval times[2] = {{7, 0}, {1234567, 890}};
    ASSERT_EQ(utimes(m_file.c_str(), times), 0);
    EXPECT_EQ(Storage::getModificationTimeOfFile(m_file), 1234567);
}

TEST_F(StoredFile, thatCannotBeExaminedHasATimeOfNoMeaning)
{
    errno = 0;
    Storage::getModificationTimeOfFile(m_none);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(StoredFile, getsTheModeThatIsAskedFor)
{
    EXPECT_TRUE(Storage::changePermissions(m_file, 04751));
    struct stat file {
    };
    ASSERT_EQ(stat(m_file.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 04751U);
}

TEST_F(StoredFile, whoseModeCannotBeChangedIsReported)
{
    const Replacement chmod(calls::chmod,
                            [](const char*, mode_t) { return StoredFile::fail(EPERM); });
    errno = 0;
    EXPECT_FALSE(Storage::changePermissions(m_file, 0640));
    EXPECT_EQ(errno, EPERM);
}

TEST_F(StoredFile, thatIsNotThereGetsNoMode)
{
    int changes = 0;
    const Replacement chmod(calls::chmod, [&](const char*, mode_t) {
        ++changes;
        return 0;
    });
    const support::RecordedLog log;
    EXPECT_FALSE(Storage::changePermissions(m_none, 0640));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(changes, 0);
}

TEST_F(StoredFile, isLinkedTo)
{
    const std::string link = m_directory.path("link");
    EXPECT_EQ(Storage::createSymlink("any target", link), 0);
    EXPECT_EQ(std::filesystem::read_symlink(link), "any target");
    EXPECT_EQ(Storage::createSymlink("another", link), -1);
    EXPECT_EQ(errno, EEXIST);
}

TEST_F(StoredFile, isLinkedToWithWhateverResultTheCallHas)
{
    const Replacement symlink(calls::symlink, [](const char* target, const char* link) {
        EXPECT_STREQ(target, "target");
        EXPECT_STREQ(link, "link");
        return 7;
    });
    EXPECT_EQ(Storage::createSymlink("target", "link"), 7);
}
