#include <gpal/FileManager.h>

#include <gmock/gmock.h>
#include <syslog.h>

#include "support/observed.h"
#include "support/temporary_directory.h"

using support::contentOf;
using support::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class ManagedFile : public testing::Test
{
protected:
    LogLine notOpened(const std::string& path) const
    {
        return {LOG_ERR, "file \"" + path + "\" couldn't be opened\n"};
    }

    support::TemporaryDirectory m_directory;
    const std::string m_missing = m_directory.path("missing/file");
    support::RecordedLog m_log;
    FileManager m_files;
};

} // namespace

TEST_F(ManagedFile, isCreatedOrReportedInTheLog)
{
    EXPECT_TRUE(m_files.createFile(m_directory.path("new"), "text"));
    EXPECT_EQ(contentOf(m_directory.path("new")), "text");
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_FALSE(m_files.createFile(m_missing, "text"));
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_missing)));
}

TEST_F(ManagedFile, isCopiedEvenWhenEmpty)
{
    const std::string source = m_directory.file("source", std::string(100000, 'x'));
    const std::string empty = m_directory.file("empty", "");
    EXPECT_TRUE(m_files.copyFile(source, m_directory.path("copy")));
    EXPECT_EQ(contentOf(m_directory.path("copy")), std::string(100000, 'x'));
    EXPECT_TRUE(m_files.copyFile(empty, m_directory.path("copy")));
    EXPECT_EQ(contentOf(m_directory.path("copy")), "");
    EXPECT_FALSE(m_files.copyFile(m_missing, m_directory.path("copy")));
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_missing)));
}

TEST_F(ManagedFile, isMovedOrLeftInPlace)
{
    const std::string source = m_directory.file("source", "text");
    EXPECT_FALSE(m_files.moveFile(source, m_missing));
    EXPECT_EQ(contentOf(source), "text");
    EXPECT_TRUE(m_files.moveFile(source, m_directory.path("moved")));
    EXPECT_FALSE(support::exists(source));
    EXPECT_EQ(contentOf(m_directory.path("moved")), "text");
}

TEST_F(ManagedFile, isExaminedAndDeleted)
{
    const std::string file = m_directory.file("file", "12345");
    EXPECT_TRUE(m_files.doesExist(file));
    EXPECT_EQ(m_files.size(file), 5);
    EXPECT_EQ(m_files.size(m_directory.path()), -1);
    EXPECT_EQ(m_files.size(m_missing), -1);
    EXPECT_EQ(m_files.deleteFile(file), 0);
    EXPECT_EQ(m_files.deleteFile(file), -1);
    EXPECT_FALSE(m_files.doesExist(file));
}

TEST_F(ManagedFile, isAPrefixOfWhatBeginsLikeIt)
{
    const std::string abc = m_directory.file("abc", "abc");
    const std::string ab = m_directory.file("ab", "ab");
    const std::string axc = m_directory.file("axc", "axc");
    const std::string empty = m_directory.file("empty", "");
    EXPECT_TRUE(m_files.isPrefix(abc, abc));
    EXPECT_TRUE(m_files.isPrefix(ab, abc));
    EXPECT_TRUE(m_files.isPrefix(empty, abc));
    EXPECT_TRUE(m_files.isPrefix(empty, empty));
    EXPECT_FALSE(m_files.isPrefix(abc, ab));
    EXPECT_FALSE(m_files.isPrefix(axc, abc));
    EXPECT_FALSE(m_files.isPrefix(abc, m_missing));
}
