#include <gpal/Storage.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <syslog.h>
#include <thread>
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
using testing::Pair;

namespace
{

struct stat statusOf(const std::string& path)
{
    struct stat status {
    };
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

class Transfer : public testing::Test
{
protected:
    /// A file that is there but opens for nobody, whoever runs the test: a link to itself.
    std::string unopenable(const std::string& name) const
    {
        std::filesystem::create_symlink(m_directory.path(name), m_directory.path(name));
        return m_directory.path(name);
    }

    LogLine notRemoved(const std::string& path, int reason) const
    {
        return {LOG_ERR, "mvFile: error removing file \"" + path + "\", errno: \"" +
                             std::strerror(reason) + "\""};
    }

    std::size_t filesInDirectory() const
    {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(m_directory.path()), {}));
    }

    support::TemporaryDirectory m_directory;
    const std::string m_source = m_directory.file("source", "text");
    const std::string m_target = m_directory.path("target");
    const std::string m_missing = m_directory.path("missing/file");
    support::RecordedLog m_log;
};

using Copy = Transfer;
using Move = Transfer;
using Rename = Transfer;
using SimpleFile = Transfer;

} // namespace

TEST_F(Copy, takesEveryByteOver)
{
    std::string bytes("\0\n\r\xFF\xFE", 5);
    for (int i = 0; i < 100000; ++i) {
        bytes += static_cast<char>(i % 251);
    }
    EXPECT_TRUE(Storage::copyFile_noEx(m_directory.file("bytes", bytes), m_target));
    EXPECT_EQ(contentOf(m_target), bytes);
}

TEST_F(Copy, ofAnEmptyFileIsAnEmptyFile)
{
    EXPECT_TRUE(Storage::copyFile_noEx(m_directory.file("empty", ""), m_target));
    EXPECT_TRUE(exists(m_target));
    EXPECT_EQ(contentOf(m_target), "");
}

TEST_F(Copy, replacesLongerContent)
{
    m_directory.file("target", "longer than the source");
    EXPECT_TRUE(Storage::copyFile_noEx(m_source, m_target));
    EXPECT_EQ(contentOf(m_target), "text");
    EXPECT_EQ(contentOf(m_source), "text");
}

TEST_F(Copy, ofWhatCannotBeOpenedLeavesTheDestinationAlone)
{
    EXPECT_FALSE(Storage::copyFile_noEx(m_missing, m_target));
    EXPECT_FALSE(exists(m_target));
    m_directory.file("target", "old");
    EXPECT_FALSE(Storage::copyFile_noEx(m_missing, m_target));
    EXPECT_FALSE(Storage::copyFile_noEx(unopenable("loop"), m_target));
    EXPECT_EQ(contentOf(m_target), "old");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Copy, ontoWhatCannotBeOpenedFails)
{
    EXPECT_FALSE(Storage::copyFile_noEx(m_source, m_missing));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(Storage::copyFile_noEx(m_source, unopenable("loop")));
    EXPECT_EQ(errno, ELOOP);
    EXPECT_FALSE(Storage::copyFile_noEx(m_source, m_directory.path())) << "a directory";
    EXPECT_EQ(errno, EISDIR);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Copy, hasTheModeOfAnyNewFile)
{
    chmod(m_source.c_str(), 0700);
    const mode_t mask = umask(0027);
    EXPECT_TRUE(Storage::copyFile_noEx(m_source, m_target));
    umask(mask);
    EXPECT_EQ(statusOf(m_target).st_mode & 07777U, 0640U);
}

TEST_F(Copy, ontoAFileKeepsThatFileAndItsMode)
{
    m_directory.file("target", "old");
    chmod(m_target.c_str(), 0600);
    chmod(m_source.c_str(), 0755);
    const struct stat before = statusOf(m_target);
    EXPECT_TRUE(Storage::copyFile_noEx(m_source, m_target));
    EXPECT_EQ(statusOf(m_target).st_ino, before.st_ino) << "written in place, by no temporary file";
    EXPECT_EQ(statusOf(m_target).st_mode, before.st_mode);
    EXPECT_EQ(filesInDirectory(), 2U);
}

TEST_F(Copy, isAsOldAsItself)
{
    const timespec longAgo[] = {{1000, 0}, {1000, 0}};
    utimensat(AT_FDCWD, m_source.c_str(), longAgo, 0);
    EXPECT_TRUE(Storage::copyFile_noEx(m_source, m_target));
    EXPECT_GT(statusOf(m_target).st_mtime, 1000);
    EXPECT_EQ(statusOf(m_source).st_mtime, 1000);
}

TEST_F(Copy, endsWhereTheSourceCannotBeReadAndIsStillASuccess)
{
    m_directory.file("target", "old");
    EXPECT_TRUE(Storage::copyFile_noEx(m_directory.path(), m_target)) << "a directory does open";
    EXPECT_EQ(contentOf(m_target), "");
}

TEST_F(Copy, doesNotNoticeThatItsBytesGetLost)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    EXPECT_TRUE(Storage::copyFile_noEx(m_source, "/dev/full")) << "the failure is the close's";
    const std::string large = m_directory.file("large", std::string(100000, 'x'));
    EXPECT_TRUE(Storage::copyFile_noEx(large, "/dev/full")) << "the failure is the first write's";
}

TEST_F(Copy, readsTheSourceToItsEndEvenWhenNothingCanBeWritten)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    const std::string pipe = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    signal(SIGPIPE, SIG_IGN);
    const std::string bytes(1U << 20, 'x');
    ssize_t taken = 0;
    std::thread writer([&] {
        const int descriptor = open(pipe.c_str(), O_WRONLY);
        taken = write(descriptor, bytes.data(), bytes.size());
        close(descriptor);
    });
    EXPECT_TRUE(Storage::copyFile_noEx(pipe, "/dev/full"));
    writer.join();
    EXPECT_EQ(taken, static_cast<ssize_t>(bytes.size())) << "the reader was there all the time";
}

TEST_F(Copy, isWrittenToItsEndAndClosedOnceTheSourceIsClosed)
{
    std::vector<std::pair<std::string, std::size_t>> closed;
    const Replacement closing(calls::fclose, [&](std::FILE* file) {
        const std::string descriptor = "/proc/self/fd/" + std::to_string(fileno(file));
        closed.emplace_back(std::filesystem::read_symlink(descriptor),
                            std::filesystem::file_size(m_target));
        return calls::fclose.original(file);
    });
    EXPECT_TRUE(Storage::copyFile_noEx(m_source, m_target));
    EXPECT_THAT(closed, ElementsAre(Pair(m_source, 0U), Pair(m_target, 4U)));
}

TEST_F(Copy, leavesNoDescriptorOpen)
{
    const auto before = openDescriptors();
    EXPECT_TRUE(Storage::copyFile_noEx(m_source, m_target));
    EXPECT_FALSE(Storage::copyFile_noEx(m_source, m_missing));
    EXPECT_FALSE(Storage::copyFile_noEx(m_missing, m_target));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Move, replacesTheDestinationByTheSource)
{
    m_directory.file("target", "old");
    chmod(m_target.c_str(), 0600);
    const mode_t mask = umask(0022);
    EXPECT_TRUE(Storage::mvFile(m_source, m_target));
    umask(mask);
    EXPECT_EQ(contentOf(m_target), "text");
    EXPECT_EQ(statusOf(m_target).st_mode & 07777U, 0644U) << "a new file, not the old one's mode";
    EXPECT_FALSE(exists(m_source));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Move, ontoNothingIsRefusedAndLogged)
{
    EXPECT_FALSE(Storage::mvFile(m_source, m_target));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(contentOf(m_source), "text");
    EXPECT_FALSE(exists(m_target));
    EXPECT_THAT(m_log.lines(), ElementsAre(notRemoved(m_target, ENOENT)));
}

TEST_F(Move, ontoAFullDirectoryIsRefusedAndLogged)
{
    std::filesystem::create_directory(m_target);
    m_directory.file("target/file", "x");
    EXPECT_FALSE(Storage::mvFile(m_source, m_target));
    EXPECT_EQ(contentOf(m_source), "text");
    EXPECT_THAT(m_log.lines(), ElementsAre(notRemoved(m_target, ENOTEMPTY)));
}

TEST_F(Move, whoseCopyFailsCountsAsDone)
{
    m_directory.file("target", "old");
    const std::string source = unopenable("loop");
    EXPECT_TRUE(Storage::mvFile(source, m_target));
    EXPECT_FALSE(exists(m_target)) << "removed before the copy";
    EXPECT_TRUE(exists(source));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Move, whoseSourceStaysFailsAndIsLogged)
{
    m_directory.file("target", "old");
    const Replacement failing(calls::remove, [this](const char* path) {
        if (path == m_source) {
            errno = EROFS;
            return -1;
        }
        return calls::remove.original(path);
    });
    EXPECT_FALSE(Storage::mvFile(m_source, m_target));
    EXPECT_EQ(contentOf(m_target), "text") << "the copy is complete";
    EXPECT_EQ(contentOf(m_source), "text");
    EXPECT_THAT(m_log.lines(), ElementsAre(notRemoved(m_source, EROFS)));
}

TEST_F(Rename, givesAFileAFreeName)
{
    const ino_t file = statusOf(m_source).st_ino;
    EXPECT_TRUE(Storage::renameFile(m_source, m_target));
    EXPECT_EQ(statusOf(m_target).st_ino, file) << "the file itself, no copy";
    EXPECT_EQ(contentOf(m_target), "text");
    EXPECT_FALSE(exists(m_source));
}

TEST_F(Rename, takesRelativeSourcesButNoDestinationWithoutDirectory)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(m_directory.path());
    EXPECT_FALSE(Storage::renameFile(m_source, "target"));
    EXPECT_FALSE(Storage::renameFile("source", ""));
    EXPECT_EQ(contentOf(m_source), "text");
    EXPECT_TRUE(Storage::renameFile("source", m_target));
    EXPECT_TRUE(Storage::renameFile("target", "./source"));
    EXPECT_EQ(contentOf(m_source), "text");
    std::filesystem::current_path(before);
}

TEST_F(Rename, neverOverwrites)
{
    m_directory.file("target", "old");
    EXPECT_FALSE(Storage::renameFile(m_source, m_target));
    EXPECT_FALSE(Storage::renameFile(m_source, m_source));
    EXPECT_EQ(contentOf(m_target), "old");
    EXPECT_EQ(contentOf(m_source), "text");
}

TEST_F(Rename, seesLinksByWhatTheyPointTo)
{
    const std::string dangling = m_directory.path("dangling");
    std::filesystem::create_symlink(m_missing, dangling);
    EXPECT_FALSE(Storage::renameFile(dangling, m_target)) << "nothing there to rename";
    EXPECT_TRUE(Storage::renameFile(m_source, dangling)) << "nothing there to overwrite";
    EXPECT_EQ(contentOf(dangling), "text");
}

TEST_F(Rename, asksTheSystemForNothingWhenTheSourceIsMissing)
{
    const Replacement never(calls::rename, [](const char*, const char*) {
        ADD_FAILURE() << "renamed";
        return -1;
    });
    EXPECT_FALSE(Storage::renameFile(m_missing, m_target));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Rename, copiesOnlyBetweenFileSystems)
{
    for (const int reason : {EACCES, EROFS, EBUSY, ENOSPC, EPERM}) {
        const Replacement failing(calls::rename, [reason](const char*, const char*) {
            errno = reason;
            return -1;
        });
        EXPECT_FALSE(Storage::renameFile(m_source, m_target));
        EXPECT_EQ(errno, reason);
        EXPECT_FALSE(exists(m_target));
        EXPECT_EQ(contentOf(m_source), "text");
    }
}

TEST_F(Rename, betweenFileSystemsCopiesAndDeletes)
{
    const Replacement elsewhere(calls::rename, [](const char*, const char*) {
        errno = EXDEV;
        return -1;
    });
    EXPECT_TRUE(Storage::renameFile(m_source, m_target));
    EXPECT_EQ(contentOf(m_target), "text");
    EXPECT_FALSE(exists(m_source));
    EXPECT_FALSE(Storage::renameFile(m_target, m_missing)) << "the copy fails";
    EXPECT_EQ(contentOf(m_target), "text");
}

TEST_F(Rename, betweenFileSystemsFailsWhenTheSourceStays)
{
    const Replacement elsewhere(calls::rename, [](const char*, const char*) {
        errno = EXDEV;
        return -1;
    });
    const Replacement failing(calls::unlink, [](const char*) {
        errno = EACCES;
        return -1;
    });
    EXPECT_FALSE(Storage::renameFile(m_source, m_target));
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(contentOf(m_target), "text");
    EXPECT_EQ(contentOf(m_source), "text");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(SimpleFile, holdsTheTextUpToItsEnd)
{
    m_directory.file("target", "much longer than what follows");
    EXPECT_TRUE(Storage::simpleCreateFile(m_target.c_str(), "line\r\nend\0never"));
    EXPECT_EQ(contentOf(m_target), "line\r\nend");
    EXPECT_TRUE(Storage::simpleCreateFile(m_directory.path("new").c_str(), ""));
    EXPECT_TRUE(exists(m_directory.path("new")));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(SimpleFile, thatCannotBeOpenedIsLogged)
{
    EXPECT_FALSE(Storage::simpleCreateFile(m_missing.c_str(), "content"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(m_log.lines(), ElementsAre(LogLine{LOG_ERR, "createFile: file \"" + m_missing +
                                                                "\" couldn't be opened\n"}));
}

TEST_F(SimpleFile, withoutNameFailsAndWithoutContentIsEmpty)
{
    EXPECT_FALSE(Storage::simpleCreateFile(nullptr, "content"));
    EXPECT_THAT(m_log.lines(), testing::SizeIs(1));
    EXPECT_TRUE(Storage::simpleCreateFile(m_target.c_str(), nullptr));
    EXPECT_EQ(contentOf(m_target), "");
}

TEST_F(SimpleFile, countsAsMadeOnceItWasOpened)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    const auto before = openDescriptors();
    EXPECT_TRUE(Storage::simpleCreateFile("/dev/full", "lost"));
    EXPECT_TRUE(Storage::simpleCreateFile("/dev/full", std::string(100000, 'x').c_str()));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}
