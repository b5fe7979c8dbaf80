#include <gpal/Storage.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/temporary_directory.h"

using support::contentOf;
using support::exists;

namespace
{

class Transfer : public testing::Test
{
protected:
    support::TemporaryDirectory m_directory;
    const std::string m_source = m_directory.file("source", "text");
    const std::string m_target = m_directory.path("target");
    const std::string m_missing = m_directory.path("missing/file");
};

} // namespace

TEST_F(Transfer, copiesWhatCanBeOpened)
{
    EXPECT_TRUE(Storage::copyFile_noEx(m_source, m_target));
    EXPECT_EQ(contentOf(m_target), "text");
    EXPECT_TRUE(Storage::copyFile_noEx(m_directory.file("empty", ""), m_target));
    EXPECT_EQ(contentOf(m_target), "");
    EXPECT_FALSE(Storage::copyFile_noEx(m_source, m_missing));
    EXPECT_FALSE(Storage::copyFile_noEx(m_missing, m_directory.path("new")));
    EXPECT_FALSE(exists(m_directory.path("new")));
}

TEST_F(Transfer, movesOntoExistingFilesOnly)
{
    EXPECT_FALSE(Storage::mvFile(m_source, m_target));
    EXPECT_EQ(contentOf(m_source), "text");
    m_directory.file("target", "old");
    EXPECT_TRUE(Storage::mvFile(m_source, m_target));
    EXPECT_EQ(contentOf(m_target), "text");
    EXPECT_FALSE(exists(m_source));
}

TEST_F(Transfer, reportsAMoveWhoseCopyFailedAsDone)
{
    m_directory.file("target", "old");
    EXPECT_TRUE(Storage::mvFile(m_missing, m_target));
    EXPECT_FALSE(exists(m_target));
}

TEST_F(Transfer, renamesToFreeNamesWithADirectory)
{
    EXPECT_FALSE(Storage::renameFile(m_source, "name"));
    EXPECT_FALSE(Storage::renameFile(m_source, m_source));
    EXPECT_FALSE(Storage::renameFile(m_missing, m_target));
    EXPECT_FALSE(Storage::renameFile(m_source, m_missing));
    EXPECT_TRUE(Storage::renameFile(m_source, m_target));
    EXPECT_EQ(contentOf(m_target), "text");
    EXPECT_FALSE(exists(m_source));
}

TEST_F(Transfer, createsSimpleFiles)
{
    EXPECT_TRUE(Storage::simpleCreateFile(m_target.c_str(), "content"));
    EXPECT_EQ(contentOf(m_target), "content");
    EXPECT_FALSE(Storage::simpleCreateFile(m_missing.c_str(), "content"));
    EXPECT_FALSE(Storage::simpleCreateFile(nullptr, "content"));
}

TEST_F(Transfer, deletesEntriesAndNotWhatLinksPointTo)
{
    std::filesystem::create_symlink(m_source, m_directory.path("link"));
    EXPECT_TRUE(Storage::deleteFile_noEx(m_directory.path(), "link"));
    EXPECT_TRUE(exists(m_source));
    EXPECT_TRUE(Storage::deleteFile_noEx(m_directory.path() + "/", "source"));
    EXPECT_FALSE(exists(m_source));
    EXPECT_FALSE(Storage::deleteFile_noEx(m_source));
    EXPECT_FALSE(Storage::deleteFile_noEx(m_directory.path("none"), "source"));
}

TEST_F(Transfer, deletesTreesButForLinksAndWhatHoldsThem)
{
    std::filesystem::create_directories(m_directory.path("tree/full/deep"));
    std::filesystem::create_directories(m_directory.path("tree/linked"));
    m_directory.file("tree/full/deep/file", "x");
    std::filesystem::create_symlink(m_source, m_directory.path("tree/linked/link"));
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_directory.path("tree")));
    EXPECT_FALSE(exists(m_directory.path("tree/full")));
    EXPECT_TRUE(exists(m_directory.path("tree/linked/link")));
    EXPECT_TRUE(exists(m_source));
    EXPECT_FALSE(Storage::deleteNonEmptyDirectory(m_directory.path("none")));
    EXPECT_FALSE(Storage::deleteDirectory(m_directory.path("none")));
}
