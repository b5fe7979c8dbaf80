#include <gpal/FileManager.h>

#include <cerrno>
#include <gmock/gmock.h>
#include <memory>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "support/descriptors.h"
#include "support/file_calls.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

namespace calls = support::calls;

using support::contentOf;
using support::exists;
using support::LogLine;
using support::openDescriptors;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

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
    const std::string m_copy = m_directory.path("copy");
    support::RecordedLog m_log;
    FileManager m_files;
};

/// Copies and deletes in its own way.
class OtherFileManager : public FileManager
{
public:
    MOCK_METHOD(bool, copyFile, (std::string const&, std::string const&), (override));
    MOCK_METHOD(int, deleteFile, (std::string const&), (override));
};

} // namespace

TEST_F(ManagedFile, isCreatedWithAllOfItsContent)
{
    const std::string file = m_directory.file("file", "something longer than the new content");
    EXPECT_TRUE(m_files.createFile(file, std::string("a\0\n\xFF", 4)));
    EXPECT_EQ(contentOf(file), std::string("a\0\n\xFF", 4));
    EXPECT_TRUE(m_files.createFile(m_directory.path("new"), ""));
    EXPECT_TRUE(exists(m_directory.path("new")));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ManagedFile, thatCannotBeCreatedIsLogged)
{
    EXPECT_FALSE(m_files.createFile(m_missing, "text"));
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_missing)));
}

TEST_F(ManagedFile, countsAsCreatedWhateverBecomesOfItsContent)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    EXPECT_TRUE(m_files.createFile("/dev/full", "lost"));
    EXPECT_TRUE(m_files.createFile("/dev/full", std::string(100000, 'x')));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ManagedFile, isCopiedToTheLastByte)
{
    const std::string bytes = std::string("\0\n\xFF", 3) + std::string(100000, 'x') + "end";
    const std::string source = m_directory.file("source", bytes);
    m_directory.file("copy", std::string(200000, 'y'));
    EXPECT_TRUE(m_files.copyFile(source, m_copy));
    EXPECT_EQ(contentOf(m_copy), bytes);
    EXPECT_EQ(contentOf(source), bytes);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ManagedFile, isCopiedEvenWhenEmpty)
{
    EXPECT_TRUE(m_files.copyFile(m_directory.file("empty", ""), m_copy));
    EXPECT_TRUE(exists(m_copy));
    EXPECT_EQ(contentOf(m_copy), "");
}

TEST_F(ManagedFile, thatCannotBeCopiedIsLogged)
{
    m_directory.file("copy", "old");
    EXPECT_FALSE(m_files.copyFile(m_missing, m_copy));
    EXPECT_EQ(contentOf(m_copy), "old") << "the source is opened first";
    EXPECT_FALSE(m_files.copyFile(m_copy, m_missing));
    EXPECT_FALSE(m_files.copyFile(m_missing, m_missing + "2"));
    EXPECT_THAT(m_log.lines(),
                ElementsAre(notOpened(m_missing), notOpened(m_missing), notOpened(m_missing)));
}

TEST_F(ManagedFile, thatTheDiskDoesNotTakeIsNotCopied)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    EXPECT_FALSE(m_files.copyFile(m_directory.file("source", "text"), "/dev/full"));
    EXPECT_THAT(m_log.lines(), IsEmpty()) << "it could be opened";
}

TEST_F(ManagedFile, isMoved)
{
    const std::string source = m_directory.file("source", "text");
    EXPECT_TRUE(m_files.moveFile(source, m_copy));
    EXPECT_FALSE(exists(source));
    EXPECT_EQ(contentOf(m_copy), "text");
}

TEST_F(ManagedFile, whoseCopyFailsIsLeftInPlace)
{
    const std::string source = m_directory.file("source", "text");
    EXPECT_FALSE(m_files.moveFile(source, m_missing));
    EXPECT_EQ(contentOf(source), "text");
    EXPECT_FALSE(m_files.moveFile(m_missing, m_copy));
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_missing), notOpened(m_missing)));
}

TEST_F(ManagedFile, countsAsMovedOnceItIsCopied)
{
    const std::string source = m_directory.file("source", "text");
    const Replacement failing(calls::unlink, [](const char*) {
        errno = EACCES;
        return -1;
    });
    EXPECT_TRUE(m_files.moveFile(source, m_copy));
    EXPECT_EQ(contentOf(source), "text");
    EXPECT_EQ(contentOf(m_copy), "text");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST(FileManager, movesByTheCopyingAndDeletingOfTheDerivedClass)
{
    OtherFileManager files;
    {
        const testing::InSequence inThisOrder;
        EXPECT_CALL(files, copyFile("from", "to")).WillOnce(Return(true));
        EXPECT_CALL(files, deleteFile("from")).WillOnce(Return(-1));
        EXPECT_CALL(files, copyFile("from", "to")).WillOnce(Return(false));
    }
    EXPECT_TRUE(files.moveFile("from", "to")) << "whatever the deletion says";
    EXPECT_FALSE(files.moveFile("from", "to"));
}

TEST_F(ManagedFile, isReachedThroughTheInterface)
{
    const std::unique_ptr<FileManagerIfc> files = std::make_unique<FileManager>();
    EXPECT_TRUE(files->createFile(m_copy, "text"));
    EXPECT_EQ(files->size(m_copy), 4);
    EXPECT_TRUE(files->moveFile(m_copy, m_directory.path("moved")));
    EXPECT_TRUE(files->doesExist(m_directory.path("moved")));
    EXPECT_TRUE(files->isPrefix(m_directory.path("moved"), m_directory.path("moved")));
    EXPECT_EQ(files->deleteFile(m_directory.path("moved")), 0);
}

TEST_F(ManagedFile, isDeletedAsTheSystemDeletes)
{
    const std::string file = m_directory.file("file", "text");
    std::filesystem::create_symlink(file, m_directory.path("link"));
    EXPECT_EQ(m_files.deleteFile(m_directory.path("link")), 0);
    EXPECT_TRUE(exists(file)) << "the link went";
    EXPECT_EQ(m_files.deleteFile(file), 0);
    EXPECT_EQ(m_files.deleteFile(file), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(m_files.deleteFile(m_directory.path()), -1) << "a directory";
    EXPECT_TRUE(exists(m_directory.path()));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ManagedFile, isThereWhenItCanBeExamined)
{
    const std::string file = m_directory.file("file", "");
    const std::string link = m_directory.path("link");
    std::filesystem::create_symlink(file, link);
    EXPECT_TRUE(m_files.doesExist(file));
    EXPECT_TRUE(m_files.doesExist(m_directory.path()));
    EXPECT_TRUE(m_files.doesExist(link));
    std::filesystem::remove(file);
    EXPECT_FALSE(m_files.doesExist(file));
    EXPECT_FALSE(m_files.doesExist(link)) << "points nowhere";
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ManagedFile, hasASizeWhenItIsARegularOne)
{
    const std::string file = m_directory.file("file", "12345");
    const std::string pipe = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_symlink(file, m_directory.path("link"));
    EXPECT_EQ(m_files.size(file), 5);
    EXPECT_EQ(m_files.size(m_directory.path("link")), 5);
    EXPECT_EQ(m_files.size(m_directory.file("empty", "")), 0);
    EXPECT_EQ(m_files.size(m_directory.path()), -1);
    EXPECT_EQ(m_files.size(pipe), -1);
    EXPECT_EQ(m_files.size("/dev/null"), -1);
    EXPECT_EQ(m_files.size(m_missing), -1);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ManagedFile, hasASizeOfNoMoreThan32Bits)
{
    const std::string file = m_directory.file("file", "");
    if (truncate(file.c_str(), (off_t(5) << 30) + 7) != 0) {
        GTEST_SKIP() << "the file system has no files of 5 GiB, not even empty ones";
    }
    EXPECT_TRUE(m_files.doesExist(file));
    EXPECT_EQ(m_files.size(file), (1 << 30) + 7);
}

TEST_F(ManagedFile, thatCannotBeExaminedHasNoSize)
{
    const std::string file = m_directory.file("file", "12345");
    const Replacement failing(calls::stat, [](const char*, struct stat* status) {
        status->st_mode = S_IFREG;
        status->st_size = 5;
        errno = EIO;
        return -1;
    });
    EXPECT_EQ(m_files.size(file), -1);
    EXPECT_FALSE(m_files.doesExist(file));
}

TEST_F(ManagedFile, isAPrefixOfWhatBeginsLikeIt)
{
    const auto isPrefix = [this](const std::string& first, const std::string& second) {
        return m_files.isPrefix(m_directory.file("first", first),
                                m_directory.file("second", second));
    };
    EXPECT_TRUE(isPrefix("ab", "abc"));
    EXPECT_TRUE(isPrefix("abc", "abc"));
    EXPECT_TRUE(isPrefix("", "abc"));
    EXPECT_TRUE(isPrefix("", ""));
    EXPECT_TRUE(isPrefix("", "\xFF")) << "not taken for the end";
    EXPECT_TRUE(isPrefix("a\xFF", "a\xFF\xFF"));
    EXPECT_TRUE(isPrefix(std::string("\0a", 2), std::string("\0ab", 3)));
    EXPECT_TRUE(isPrefix(std::string(100000, 'x'), std::string(100001, 'x')));
    EXPECT_FALSE(isPrefix("abc", "ab"));
    EXPECT_FALSE(isPrefix("a", ""));
    EXPECT_FALSE(isPrefix("axc", "abc"));
    EXPECT_FALSE(isPrefix("\xFF", "")) << "not taken for the end";
    EXPECT_FALSE(isPrefix("a\xFF", "a"));
    EXPECT_FALSE(isPrefix("abd", "abc")) << "different in the last one";
    EXPECT_FALSE(isPrefix(std::string("\0a", 2), std::string("\0b", 2)));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ManagedFile, thatCannotBeReadIsNoPrefixAndHasNone)
{
    const std::string file = m_directory.file("file", "text");
    const std::string empty = m_directory.file("empty", "");
    EXPECT_FALSE(m_files.isPrefix(m_missing, file));
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_missing)));
    EXPECT_FALSE(m_files.isPrefix(empty, m_missing)) << "not even the empty one";
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_missing), notOpened(m_missing)));
    EXPECT_FALSE(m_files.isPrefix(m_directory.path(), file)) << "opens, but reading fails";
    EXPECT_FALSE(m_files.isPrefix(m_directory.path(), m_directory.path()));
    EXPECT_FALSE(m_files.isPrefix(file, m_directory.path()));
}

TEST_F(ManagedFile, isClosedAgain)
{
    const auto before = openDescriptors();
    m_files.createFile(m_copy, "text");
    m_files.copyFile(m_copy, m_directory.path("other"));
    m_files.copyFile(m_copy, m_missing);
    m_files.copyFile(m_directory.path(), m_directory.path("other"));
    m_files.isPrefix(m_copy, m_copy);
    m_files.isPrefix(m_copy, m_missing);
    m_files.moveFile(m_copy, m_directory.path("other"));
    EXPECT_EQ(openDescriptors(), before);
}
