#include <gpal/Storage.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/file_calls.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::exists;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace calls = support::calls;

namespace
{

/// A file system in which nothing is there but what `m_existing` says.
class EmptyFileSystem
{
public:
    std::vector<std::string> m_existing;
    std::string m_refused; ///< cannot be made
    std::vector<std::string> m_calls;

private:
    Replacement<int(const char*, struct stat*)> m_stat{
        calls::stat, [this](const char* path, struct stat*) {
            m_calls.push_back(std::string("stat ") + path);
            errno = ENOENT;
            return std::count(m_existing.begin(), m_existing.end(), path) > 0 ? 0 : -1;
        }};
    Replacement<int(const char*, mode_t)> m_mkdir{
        calls::mkdir, [this](const char* path, mode_t mode) {
            m_calls.push_back((mode == 0775   ? "mkdir 0775 "
                               : mode == 0700 ? "mkdir 0700 "
                                              : "mkdir with another mode ") +
                              std::string(path));
            errno = ENOSPC;
            return m_refused == path ? -1 : 0;
        }};
};

class Directories : public testing::Test
{
protected:
    ~Directories() override
    {
        umask(m_umask);
        EXPECT_EQ(chdir("/"), 0);
    }

    static int modeOf(const std::string& path)
    {
        struct stat file {
        };
        return stat(path.c_str(), &file) == 0 ? static_cast<int>(file.st_mode & 07777) : -1;
    }

    std::string path(const std::string& name) const { return m_directory.path(name); }

    support::TemporaryDirectory m_directory;
    const mode_t m_umask = umask(0);
};

} // namespace

TEST(DirectoriesOnTheWay, areTestedAndMadeOneByOneWithTheirSlashes)
{
    EmptyFileSystem files;
    EXPECT_TRUE(Storage::makeDirectory("/data//logs/", false));
    EXPECT_THAT(files.m_calls,
                ElementsAre("stat /", "mkdir 0775 /", "stat /data//", "mkdir 0775 /data//",
                            "stat /data//logs", "mkdir 0775 /data//logs"));
}

TEST(DirectoriesOnTheWay, endBeforeTheLastSlashes)
{
    EmptyFileSystem files;
    EXPECT_TRUE(Storage::makeDirectory("/data/logs//", false));
    EXPECT_THAT(files.m_calls,
                ElementsAre("stat /", "mkdir 0775 /", "stat /data/", "mkdir 0775 /data/",
                            "stat /data/logs", "mkdir 0775 /data/logs"));
}

TEST(DirectoriesOnTheWay, areForRootAloneWhenAskedFor)
{
    EmptyFileSystem files;
    files.m_existing = {"/"};
    EXPECT_TRUE(Storage::makeDirectory("/data/file", true));
    EXPECT_TRUE(Storage::makeRootAccessOnlyDir("/data/"));
    EXPECT_EQ(makeDir("/data/file", true), 0);
    EXPECT_THAT(files.m_calls,
                ElementsAre("stat /", "stat /data", "mkdir 0700 /data", "stat /", "stat /data",
                            "mkdir 0700 /data", "stat /", "stat /data", "mkdir 0700 /data"));
}

TEST(DirectoriesOnTheWay, areSharedOtherwise)
{
    EmptyFileSystem files;
    EXPECT_TRUE(Storage::makeDir("spool"));
    EXPECT_EQ(makeDir("spool", false), 0);
    EXPECT_THAT(files.m_calls,
                ElementsAre("stat spool", "mkdir 0775 spool", "stat spool", "mkdir 0775 spool"));
}

TEST(DirectoriesOnTheWay, areNotTriedAfterOneThatCannotBeMade)
{
    const support::RecordedLog log;
    EmptyFileSystem files;
    files.m_existing = {"/"};
    files.m_refused = "/a/b/";
    errno = 0;
    EXPECT_EQ(makeDir("/a/b/c/file", false), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_THAT(files.m_calls, ElementsAre("stat /", "stat /a/", "mkdir 0775 /a/", "stat /a/b/",
                                           "mkdir 0775 /a/b/"));
    EXPECT_FALSE(Storage::makeDir("/a/b/c/"));
    EXPECT_FALSE(Storage::makeRootAccessOnlyDir("/a/b/c/"));
    EXPECT_FALSE(Storage::makeDirectory("/a/b/c/", false));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(DirectoriesOnTheWay, thatExistAreNotMade)
{
    EmptyFileSystem files;
    files.m_existing = {"/", "/a/", "/a/b"};
    EXPECT_TRUE(Storage::makeDir("/a/b/"));
    EXPECT_THAT(files.m_calls, ElementsAre("stat /", "stat /a/", "stat /a/b"));
}

TEST_F(Directories, areMadeUpToTheLastSlash)
{
    EXPECT_TRUE(Storage::makeDir(path("x/y/z/")));
    EXPECT_TRUE(std::filesystem::is_directory(path("x/y/z")));
    EXPECT_TRUE(std::filesystem::is_empty(path("x/y/z"))) << "the dummy file is never made";
    EXPECT_TRUE(Storage::makeDir(path("p/q/r")));
    EXPECT_TRUE(std::filesystem::is_directory(path("p/q")));
    EXPECT_FALSE(exists(path("p/q/r")));
}

TEST_F(Directories, withoutASlashAreMadeThemselves)
{
    ASSERT_EQ(chdir(m_directory.path().c_str()), 0);
    EXPECT_TRUE(Storage::makeDir("spool"));
    EXPECT_EQ(modeOf(path("spool")), 0775);
    EXPECT_TRUE(Storage::makeRootAccessOnlyDir("private"));
    EXPECT_EQ(modeOf(path("private")), 0700);
    EXPECT_EQ(makeDir("free", false), 0);
    EXPECT_EQ(modeOf(path("free")), 0775);
    EXPECT_FALSE(exists(path("file.tmp")));
}

TEST_F(Directories, ofAnEmptyPathAreNamedAfterTheDummyFile)
{
    ASSERT_EQ(chdir(m_directory.path().c_str()), 0);
    EXPECT_TRUE(Storage::makeDir(""));
    EXPECT_TRUE(std::filesystem::is_directory(path("file.tmp")));
    EXPECT_EQ(makeDir("", false), -1) << "there is no such name in the function below";
}

TEST_F(Directories, startAtTheWorkingDirectoryIfThePathDoes)
{
    ASSERT_EQ(chdir(m_directory.path().c_str()), 0);
    EXPECT_TRUE(Storage::makeDir("x/y/"));
    EXPECT_TRUE(Storage::makeDir("./p/file"));
    EXPECT_TRUE(Storage::makeDir("p/../q/"));
    EXPECT_TRUE(exists(path("x/y")) && exists(path("p")) && exists(path("q")));
}

TEST_F(Directories, ofTheFunctionBelowEndBeforeTheLastName)
{
    EXPECT_EQ(makeDir(path("x/y/"), false), 0) << "a '/' at the end does not count";
    EXPECT_TRUE(exists(path("x")));
    EXPECT_FALSE(exists(path("x/y")));
}

TEST_F(Directories, haveModesThatTheUmaskCuts)
{
    EXPECT_TRUE(Storage::makeDir(path("shared/")));
    EXPECT_TRUE(Storage::makeRootAccessOnlyDir(path("private/")));
    EXPECT_EQ(modeOf(path("shared")), 0775);
    EXPECT_EQ(modeOf(path("private")), 0700);
    umask(0227);
    EXPECT_TRUE(Storage::makeDir(path("cut/")));
    EXPECT_TRUE(Storage::makeRootAccessOnlyDir(path("cut private/")));
    EXPECT_EQ(modeOf(path("cut")), 0550);
    EXPECT_EQ(modeOf(path("cut private")), 0500);
}

TEST_F(Directories, keepTheirModeIfTheyExist)
{
    EXPECT_TRUE(Storage::makeDir(path("x/")));
    EXPECT_TRUE(Storage::makeRootAccessOnlyDir(path("x/y/")));
    EXPECT_TRUE(Storage::makeDir(path("x/y/z/")));
    EXPECT_EQ(modeOf(path("x")), 0775);
    EXPECT_EQ(modeOf(path("x/y")), 0700);
    EXPECT_EQ(modeOf(path("x/y/z")), 0775);
}

TEST_F(Directories, areTakenToBeThereWhenAnythingOfTheNameIs)
{
    m_directory.file("file", "");
    EXPECT_TRUE(Storage::makeDir(path("file/")));
    EXPECT_TRUE(std::filesystem::is_regular_file(path("file")));
    EXPECT_EQ(Storage::createSymlink(m_directory.path(), path("link")), 0);
    EXPECT_TRUE(Storage::makeDir(path("link/below/")));
    EXPECT_TRUE(exists(path("below")));
}

TEST_F(Directories, areNotMadeBelowAFileNorForALinkToNothing)
{
    m_directory.file("file", "");
    EXPECT_EQ(makeDir(path("file/below/x"), false), -1);
    EXPECT_FALSE(Storage::makeDir(path("file/below/")));
    EXPECT_EQ(Storage::createSymlink("nowhere", path("link")), 0);
    EXPECT_FALSE(Storage::makeDir(path("link/")));
    EXPECT_EQ(errno, EEXIST);
}
