#include <gpal/Storage.h>

#include <cerrno>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <vector>

#include "support/descriptors.h"
#include "support/file_calls.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

namespace calls = support::calls;

using support::exists;
using support::openDescriptors;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class Deletion : public testing::Test
{
protected:
    ~Deletion() override { EXPECT_THAT(m_log.lines(), IsEmpty()) << "deleting logs nothing"; }

    std::string folder(const std::string& name) const
    {
        std::filesystem::create_directories(m_directory.path(name));
        return m_directory.path(name);
    }

    std::string link(const std::string& name, const std::string& target) const
    {
        std::filesystem::create_symlink(target, m_directory.path(name));
        return m_directory.path(name);
    }

    support::TemporaryDirectory m_directory;
    support::RecordedLog m_log;
    const std::string m_file = m_directory.file("file", "text");
    const std::string m_missing = m_directory.path("missing");
};

using TreeDeletion = Deletion;

int denied(const char* /*path*/)
{
    errno = EACCES;
    return -1;
}

} // namespace

TEST_F(Deletion, removesAFile)
{
    EXPECT_TRUE(Storage::deleteFile_noEx(m_file));
    EXPECT_FALSE(exists(m_file));
    EXPECT_FALSE(Storage::deleteFile_noEx(m_file));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Deletion, removesLinksAndNotWhatTheyPointTo)
{
    EXPECT_TRUE(Storage::deleteFile_noEx(link("link", m_file)));
    EXPECT_TRUE(Storage::deleteFile_noEx(link("toFolder", folder("folder"))));
    EXPECT_TRUE(Storage::deleteFile_noEx(link("dangling", m_missing)));
    EXPECT_FALSE(exists(m_directory.path("link")));
    EXPECT_FALSE(exists(m_directory.path("toFolder")));
    EXPECT_FALSE(exists(m_directory.path("dangling")));
    EXPECT_TRUE(exists(m_file));
    EXPECT_TRUE(exists(m_directory.path("folder")));
}

TEST_F(Deletion, removesAnyOtherEntryThatIsNoDirectory)
{
    const std::string pipe = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(Storage::deleteFile_noEx(pipe));
    EXPECT_FALSE(Storage::deleteFile_noEx(folder("folder")));
    EXPECT_TRUE(exists(m_directory.path("folder")));
}

TEST_F(Deletion, failsAsTheSystemFails)
{
    {
        const Replacement failing(calls::unlink, denied);
        EXPECT_FALSE(Storage::deleteFile_noEx(m_file));
        EXPECT_EQ(errno, EACCES);
        EXPECT_FALSE(Storage::deleteFile_noEx(m_directory.path(), "file"));
    }
    const Replacement never(calls::unlink, [](const char*) {
        ADD_FAILURE() << "not even tried on what cannot be examined";
        return 0;
    });
    const Replacement unseen(calls::lstat, [](const char*, struct stat*) {
        errno = EIO;
        return -1;
    });
    EXPECT_FALSE(Storage::deleteFile_noEx(m_file));
    EXPECT_EQ(errno, EIO);
}

TEST_F(Deletion, takesADirectoryAndANameInIt)
{
    EXPECT_TRUE(Storage::deleteFile_noEx(m_directory.path(), "file"));
    EXPECT_FALSE(exists(m_file));
    m_directory.file("file", "again");
    EXPECT_TRUE(Storage::deleteFile_noEx(m_directory.path() + "/", "file"));
    EXPECT_FALSE(exists(m_file));
}

TEST_F(Deletion, inADirectoryExaminesTheDirectoryAndThenTheEntry)
{
    std::vector<std::string> examined;
    const Replacement recorded(calls::lstat, [&](const char* path, struct stat* file) {
        examined.emplace_back(path);
        return calls::lstat.original(path, file);
    });
    EXPECT_TRUE(Storage::deleteFile_noEx(m_directory.path(), "file"));
    EXPECT_THAT(examined, ElementsAre(m_directory.path() + "/", m_file));
    examined.clear();
    EXPECT_FALSE(Storage::deleteFile_noEx(m_missing, "file"));
    EXPECT_THAT(examined, ElementsAre(m_missing + "/"));
    EXPECT_FALSE(Storage::deleteFile_noEx(m_directory.path(), "missing"));
}

TEST_F(Deletion, inWhatIsNoDirectoryOrHasNoNameFails)
{
    EXPECT_FALSE(Storage::deleteFile_noEx(m_file, "file"));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(Storage::deleteFile_noEx("", m_file));
    EXPECT_TRUE(exists(m_file));
}

TEST_F(Deletion, inALinkedDirectoryRemovesTheEntryThere)
{
    m_directory.file(folder("folder").substr(m_directory.path().size() + 1) + "/inner", "x");
    EXPECT_TRUE(Storage::deleteFile_noEx(link("link", m_directory.path("folder")), "inner"));
    EXPECT_FALSE(exists(m_directory.path("folder/inner")));
}

TEST_F(Deletion, ofADirectoryTakesEmptyOnesAndFiles)
{
    EXPECT_TRUE(Storage::deleteDirectory(folder("empty")));
    EXPECT_FALSE(exists(m_directory.path("empty")));
    EXPECT_TRUE(Storage::deleteDirectory(m_file));
    EXPECT_FALSE(exists(m_file));
    folder("full/inner");
    EXPECT_FALSE(Storage::deleteDirectory(m_directory.path("full")));
    EXPECT_TRUE(errno == ENOTEMPTY || errno == EEXIST);
    EXPECT_TRUE(exists(m_directory.path("full/inner")));
}

TEST_F(Deletion, ofADirectoryFollowsLinksToSeeWhetherItIsThere)
{
    EXPECT_FALSE(Storage::deleteDirectory(m_missing));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Storage::deleteDirectory(link("dangling", m_missing)));
    EXPECT_TRUE(exists(m_directory.path("dangling")));
    EXPECT_TRUE(Storage::deleteDirectory(link("link", m_file)));
    EXPECT_FALSE(exists(m_directory.path("link")));
    EXPECT_TRUE(exists(m_file)) << "the link itself went";
}

TEST_F(Deletion, ofADirectoryFailsAsTheSystemFails)
{
    const Replacement failing(calls::remove, denied);
    EXPECT_FALSE(Storage::deleteDirectory(folder("empty")));
    EXPECT_EQ(errno, EACCES);
}

TEST_F(TreeDeletion, removesNestedFilesAndDirectories)
{
    const auto before = openDescriptors();
    folder("tree/a/b/c");
    folder("tree/empty");
    m_directory.file("tree/one", "1");
    m_directory.file("tree/.hidden", "1");
    m_directory.file("tree/a/two", "2");
    m_directory.file("tree/a/b/c/three", "3");
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_FALSE(exists(m_directory.path("tree")));
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(folder("slash") + "/"));
    EXPECT_FALSE(exists(m_directory.path("slash")));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(TreeDeletion, goesFilesFirstThenDownThenUp)
{
    folder("tree/a/b");
    m_directory.file("tree/one", "1");
    m_directory.file("tree/a/two", "2");
    m_directory.file("tree/a/b/three", "3");
    std::vector<std::string> gone;
    const Replacement unlinked(calls::unlink, [&](const char* path) {
        gone.emplace_back(std::string(path).substr(m_directory.path().size()));
        return calls::unlink.original(path);
    });
    const Replacement removed(calls::remove, [&](const char* path) {
        gone.emplace_back(std::string(path).substr(m_directory.path().size()));
        return calls::remove.original(path);
    });
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_THAT(gone, ElementsAre("/tree/one", "/tree/a/two", "/tree/a/b/three", "/tree/a/b",
                                  "/tree/a", "/tree"));
}

TEST_F(TreeDeletion, visitsDirectoriesInTheOrderOfTheirList)
{
    for (const char* name : {"tree/c", "tree/a", "tree/d", "tree/b"}) {
        folder(name);
    }
    std::list<std::string> expected;
    Storage::getListOfDirectoriesByDirectoryWithPath(m_directory.path("tree"), &expected);
    expected.push_back(m_directory.path("tree"));
    std::list<std::string> removed;
    const Replacement recorded(calls::remove, [&](const char* path) {
        removed.emplace_back(path);
        return calls::remove.original(path);
    });
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_EQ(removed, expected);
}

TEST_F(TreeDeletion, leavesLinksAndPipesAndWhatHoldsThem)
{
    m_directory.file(folder("outside").substr(m_directory.path().size() + 1) + "/kept", "x");
    folder("tree/full/deep");
    folder("tree/linked");
    folder("tree/piped");
    m_directory.file("tree/full/deep/file", "x");
    m_directory.file("tree/linked/file", "x");
    link("tree/linked/toFile", m_file);
    link("tree/linked/toFolder", m_directory.path("outside"));
    link("tree/linked/dangling", m_missing);
    ASSERT_EQ(mkfifo(m_directory.path("tree/piped/pipe").c_str(), 0600), 0);
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_FALSE(exists(m_directory.path("tree/full")));
    EXPECT_FALSE(exists(m_directory.path("tree/linked/file")));
    for (const char* stays : {"tree/linked/toFile", "tree/linked/toFolder", "tree/linked/dangling",
                              "tree/piped/pipe", "outside/kept", "file"}) {
        EXPECT_TRUE(exists(m_directory.path(stays))) << stays;
    }
}

TEST_F(TreeDeletion, throughALinkEmptiesTheTargetAndRemovesTheLink)
{
    folder("target/inner");
    m_directory.file("target/file", "x");
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(link("link", m_directory.path("target"))));
    EXPECT_FALSE(exists(m_directory.path("link")));
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.path("target")));
}

TEST_F(TreeDeletion, ofAFileRemovesIt)
{
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_file));
    EXPECT_FALSE(exists(m_file));
}

TEST_F(TreeDeletion, ofWhatIsNotThereFails)
{
    EXPECT_FALSE(Storage::deleteNonEmptyDirectory(m_missing));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Storage::deleteNonEmptyDirectory(link("dangling", m_missing)));
    EXPECT_TRUE(exists(m_directory.path("dangling")));
}

TEST_F(TreeDeletion, goesOnPastWhatItCannotRemove)
{
    folder("tree/stuck");
    folder("tree/loose");
    m_directory.file("tree/stuck/file", "x");
    m_directory.file("tree/stuck/other", "x");
    m_directory.file("tree/loose/file", "x");
    const Replacement failing(calls::unlink, [this](const char* path) {
        return path == m_directory.path("tree/stuck/file") ? denied(path)
                                                           : calls::unlink.original(path);
    });
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_TRUE(exists(m_directory.path("tree/stuck/file")));
    EXPECT_FALSE(exists(m_directory.path("tree/stuck/other")));
    EXPECT_FALSE(exists(m_directory.path("tree/loose")));
}

TEST_F(TreeDeletion, goesOnPastDirectoriesItCannotReadOrRemove)
{
    folder("tree/unreadable");
    folder("tree/loose");
    folder("tree/stuck");
    m_directory.file("tree/unreadable/file", "x");
    m_directory.file("tree/stuck/file", "x");
    const Replacement unreadable(calls::opendir, [this](const char* path) -> DIR* {
        if (path == m_directory.path("tree/unreadable")) {
            errno = EACCES;
            return nullptr;
        }
        return calls::opendir.original(path);
    });
    const Replacement failing(calls::remove, [this](const char* path) {
        return path == m_directory.path("tree/stuck") ? denied(path) : calls::remove.original(path);
    });
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_TRUE(exists(m_directory.path("tree/unreadable/file")));
    EXPECT_TRUE(exists(m_directory.path("tree/stuck")));
    EXPECT_FALSE(exists(m_directory.path("tree/stuck/file")));
    EXPECT_FALSE(exists(m_directory.path("tree/loose")));
}

TEST_F(TreeDeletion, takesNoFilesForDirectoriesWhenItsDirectoriesCannotBeListed)
{
    folder("tree");
    const std::string stuck = m_directory.file("tree/stuck", "x");
    const Replacement failing(calls::unlink, denied);
    int listings = 0;
    const Replacement unseen(calls::stat, [&](const char* path, struct stat* file) {
        // Once to see that the tree is there, and once before each listing.
        return path == m_directory.path("tree") && ++listings == 3
                   ? denied(path)
                   : calls::stat.original(path, file);
    });
    std::vector<std::string> removed;
    const Replacement recorded(calls::remove, [&](const char* path) {
        removed.emplace_back(path);
        return calls::remove.original(path);
    });
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_THAT(removed, ElementsAre(m_directory.path("tree")));
    EXPECT_TRUE(exists(stuck));
}

TEST_F(TreeDeletion, goesOnPastDirectoriesItCannotExamine)
{
    folder("tree/unseen");
    folder("tree/loose");
    folder("tree/other");
    const Replacement unseen(calls::stat, [this](const char* path, struct stat* status) {
        return path == m_directory.path("tree/unseen") ? denied(path)
                                                       : calls::stat.original(path, status);
    });
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_TRUE(exists(m_directory.path("tree/unseen")));
    EXPECT_FALSE(exists(m_directory.path("tree/loose")));
    EXPECT_FALSE(exists(m_directory.path("tree/other")));
}
