#include <gpal/Storage.h>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/temporary_directory.h"

using support::exists;

namespace
{

class Directories : public testing::Test
{
protected:
    Directories() { m_umask = umask(0); }
    ~Directories() override { umask(m_umask); }

    static int modeOf(const std::string& path)
    {
        struct stat file {
        };
        stat(path.c_str(), &file);
        return static_cast<int>(file.st_mode & 07777);
    }

    support::TemporaryDirectory m_directory;
    mode_t m_umask;
};

} // namespace

TEST_F(Directories, areMadeUpToTheLastSlash)
{
    EXPECT_TRUE(Storage::makeDir(m_directory.path("x//y/z/")));
    EXPECT_TRUE(exists(m_directory.path("x/y/z")));
    EXPECT_EQ(modeOf(m_directory.path("x/y")), 0775);
    EXPECT_TRUE(Storage::makeRootAccessOnlyDir(m_directory.path("x/p/q")));
    EXPECT_EQ(modeOf(m_directory.path("x/p")), 0700);
    EXPECT_FALSE(exists(m_directory.path("x/p/q")));
    EXPECT_EQ(modeOf(m_directory.path("x")), 0775);
}

TEST_F(Directories, withoutASlashAreMadeThemselves)
{
    ASSERT_EQ(chdir(m_directory.path().c_str()), 0);
    EXPECT_TRUE(Storage::makeDir("spool"));
    EXPECT_TRUE(exists(m_directory.path("spool")));
    EXPECT_TRUE(Storage::makeDir(""));
    EXPECT_TRUE(exists(m_directory.path("file.tmp")));
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(Directories, areNotMadeBelowAFile)
{
    m_directory.file("file", "");
    EXPECT_FALSE(Storage::makeDir(m_directory.path("file/below/")));
    EXPECT_EQ(makeDir(m_directory.path("file/below/x"), false), -1);
    EXPECT_EQ(makeDir(m_directory.path("above/x"), false), 0);
}

TEST_F(Directories, andFilesAreExaminedAndChanged)
{
    const std::string file = m_directory.file("file", "12345");
    EXPECT_EQ(Storage::fileSize(file), 5);
    EXPECT_EQ(Storage::fileSize(m_directory.path("none")), -1);
    EXPECT_TRUE(Storage::fileExists(file) && Storage::fileExists_stat(file));
    EXPECT_FALSE(Storage::fileExists(m_directory.path("none")));
    EXPECT_TRUE(Storage::changePermissions(file, 0640));
    EXPECT_EQ(modeOf(file), 0640);
    EXPECT_FALSE(Storage::changePermissions(m_directory.path("none"), 0640));
    EXPECT_EQ(Storage::createSymlink("target", m_directory.path("link")), 0);
    EXPECT_EQ(Storage::createSymlink("target", m_directory.path("link")), -1);
}
