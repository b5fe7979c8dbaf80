// What becomes of files on another, a full or a read-only file system.

#include <gpal/BinaryStorage.h>
#include <gpal/FileManager.h>

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "support/descriptors.h"
#include "support/observed.h"
#include "support/private_mounts.h"
#include "support/temporary_directory.h"

using support::contentOf;
using support::exists;
using support::LogLine;
using support::openDescriptors;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr std::size_t DISK_SIZE = 4U << 20;

class OtherDisk : public testing::Test
{
protected:
    void SetUp() override
    {
        GPAL_IN_PRIVATE_NAMESPACES();
        std::filesystem::create_directory(m_disk);
        ASSERT_TRUE(support::mountTmpfs(m_disk, DISK_SIZE));
    }

    void TearDown() override { umount2(m_disk.c_str(), MNT_DETACH); }

    LogLine notRemoved(const std::string& path, int reason) const
    {
        return {LOG_ERR, "mvFile: error removing file \"" + path + "\", errno: \"" +
                             std::strerror(reason) + "\""};
    }

    std::string onDisk(const std::string& name) const { return m_disk + "/" + name; }

    /// Puts a listening socket's file there: it can be examined, but not opened.
    std::string socketFile() const
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::string path = m_directory.path("socket");
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        const int made = socket(AF_UNIX, SOCK_STREAM, 0);
        EXPECT_EQ(bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        close(made);
        return path;
    }

    support::TemporaryDirectory m_directory;
    const std::string m_disk = m_directory.path("disk");
    const std::string m_source = m_directory.file("source", "text");
    const std::string m_large = m_directory.file("large", std::string(DISK_SIZE + 100000, 'x'));
    support::RecordedLog m_log;
};

class FullDisk : public OtherDisk
{
protected:
    void SetUp() override
    {
        OtherDisk::SetUp();
        if (!IsSkipped() && !HasFatalFailure()) {
            std::ofstream(onDisk("old")) << "old";
            std::ofstream(onDisk("filling"), std::ios::binary) << std::string(DISK_SIZE + 1, 'x');
            ASSERT_LT(std::filesystem::file_size(onDisk("filling")), DISK_SIZE);
        }
    }
};

class ReadOnlyDisk : public OtherDisk
{
protected:
    void SetUp() override
    {
        OtherDisk::SetUp();
        if (!IsSkipped() && !HasFatalFailure()) {
            std::ofstream(onDisk("old")) << "old\n";
            ASSERT_EQ(mount(nullptr, m_disk.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
        }
    }
};

} // namespace

TEST_F(OtherDisk, getsAFileRenamedOntoItAsACopy)
{
    chmod(m_source.c_str(), 0700);
    EXPECT_TRUE(Storage::renameFile(m_source, onDisk("new")));
    EXPECT_EQ(contentOf(onDisk("new")), "text");
    EXPECT_FALSE(exists(m_source));
    struct stat copy {
    };
    ASSERT_EQ(stat(onDisk("new").c_str(), &copy), 0);
    EXPECT_EQ(copy.st_mode & 0111U, 0U) << "the mode is that of any new file";
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(OtherDisk, getsWhatARenamedLinkPointsTo)
{
    const std::string link = m_directory.path("link");
    std::filesystem::create_symlink(m_source, link);
    EXPECT_TRUE(Storage::renameFile(link, onDisk("new")));
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(onDisk("new"))));
    EXPECT_FALSE(exists(link));
    EXPECT_EQ(contentOf(m_source), "text");
}

TEST_F(OtherDisk, getsNothingOfAFileThatCannotBeOpened)
{
    const std::string source = socketFile();
    EXPECT_FALSE(Storage::renameFile(source, onDisk("new")));
    EXPECT_TRUE(exists(source));
    EXPECT_FALSE(exists(onDisk("new")));
}

TEST_F(OtherDisk, getsNoDirectoryRenamedOntoIt)
{
    const std::string folder = m_directory.path("folder");
    std::filesystem::create_directory(folder);
    EXPECT_FALSE(Storage::renameFile(folder, onDisk("new"))) << "the source cannot be unlinked";
    EXPECT_TRUE(exists(folder));
}

TEST_F(OtherDisk, mountedOnTheDestinationCannotBeReplaced)
{
    EXPECT_FALSE(Storage::mvFile(m_source, m_disk));
    EXPECT_EQ(contentOf(m_source), "text");
    EXPECT_THAT(m_log.lines(), ElementsAre(notRemoved(m_disk, EBUSY)));
    EXPECT_FALSE(Storage::deleteDirectory(m_disk));
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_disk));
    EXPECT_TRUE(exists(m_disk));
}

TEST_F(OtherDisk, thatFillsUpCutsACopyShort)
{
    const auto before = openDescriptors();
    EXPECT_TRUE(Storage::copyFile_noEx(m_large, onDisk("new")));
    EXPECT_TRUE(exists(onDisk("new")));
    EXPECT_LE(std::filesystem::file_size(onDisk("new")), DISK_SIZE);
    EXPECT_GT(std::filesystem::file_size(onDisk("new")), DISK_SIZE / 2) << "as far as it went";
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FullDisk, losesWhatIsMovedOrRenamedOntoIt)
{
    EXPECT_TRUE(Storage::mvFile(m_source, onDisk("old")));
    EXPECT_FALSE(exists(m_source));
    std::ofstream(onDisk("more"), std::ios::binary) << std::string(DISK_SIZE, 'x');
    EXPECT_TRUE(Storage::renameFile(m_large, onDisk("new")));
    EXPECT_FALSE(exists(m_large));
    EXPECT_LT(std::filesystem::file_size(onDisk("new")), DISK_SIZE);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FullDisk, makesOfASimpleFileAnEmptyOne)
{
    EXPECT_TRUE(Storage::simpleCreateFile(onDisk("new").c_str(), "lost"));
    EXPECT_EQ(contentOf(onDisk("new")), "");
    EXPECT_TRUE(FileManager().createFile(onDisk("new"), "lost"));
    EXPECT_EQ(contentOf(onDisk("new")), "");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FullDisk, failsTheFileManagersCopyAndKeepsTheSource)
{
    FileManager files;
    EXPECT_FALSE(files.copyFile(m_source, onDisk("new")));
    EXPECT_FALSE(files.moveFile(m_source, onDisk("new")));
    EXPECT_EQ(contentOf(m_source), "text");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FullDisk, isReportedByBinaryStorage)
{
    const support::Captured console(1);
    BinaryStorage storage;
    std::string path = onDisk("new");
    std::string bytes(100000, 'x');
    EXPECT_EQ(storage.store(path.data(), bytes.data(), 100000U), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot write into file " + path + "\n");
    EXPECT_EQ(storage.clear(path.data()), 1) << "that needs no room";
}

TEST_F(FullDisk, failsLargeRecordsAndLosesSmallOnes)
{
    const std::string path = onDisk("new");
    std::string record(100000, 'x');
    Storage records;
    records.init(path.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    EXPECT_EQ(records.store("key", record.data(), 100000), 0);
    EXPECT_EQ(records.store("key", record.data(), 10), 10);
    EXPECT_EQ(records.retrieve("key", record.data()), 0);
    EXPECT_EQ(records.clear(), 1);
}

TEST_F(ReadOnlyDisk, keepsItsFiles)
{
    EXPECT_FALSE(Storage::copyFile_noEx(m_source, onDisk("old")));
    EXPECT_EQ(errno, EROFS);
    EXPECT_FALSE(Storage::mvFile(m_source, onDisk("old")));
    EXPECT_FALSE(Storage::renameFile(onDisk("old"), onDisk("new")));
    EXPECT_EQ(errno, EROFS);
    EXPECT_FALSE(Storage::deleteFile_noEx(onDisk("old")));
    EXPECT_FALSE(Storage::deleteFile_noEx(m_disk, "old"));
    EXPECT_TRUE(Storage::deleteNonEmptyDirectory(m_disk));
    EXPECT_EQ(FileManager().deleteFile(onDisk("old")), -1);
    EXPECT_EQ(contentOf(onDisk("old")), "old\n");
    EXPECT_THAT(m_log.lines(), ElementsAre(notRemoved(onDisk("old"), EROFS)));
}

TEST_F(ReadOnlyDisk, hasItsFilesCopiedButNotMovedElsewhere)
{
    EXPECT_FALSE(Storage::mvFile(onDisk("old"), m_source));
    EXPECT_EQ(contentOf(m_source), "old\n") << "the copy is complete";
    EXPECT_FALSE(Storage::renameFile(onDisk("old"), m_directory.path("new")));
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(contentOf(m_directory.path("new")), "old\n");
    EXPECT_TRUE(FileManager().moveFile(onDisk("old"), m_directory.path("other")));
    EXPECT_TRUE(exists(onDisk("old")));
    EXPECT_THAT(m_log.lines(), ElementsAre(notRemoved(onDisk("old"), EROFS)));
}

TEST_F(ReadOnlyDisk, hasRecordsThatAreReadButNotClearedOrWritten)
{
    const std::string path = onDisk("old");
    char buffer[1024] = {};
    Storage records;
    records.init(path.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    EXPECT_EQ(records.retrieve("key", buffer), 3);
    EXPECT_EQ(records.clear(), 0);
    EXPECT_EQ(records.store("key", buffer, 3), 0);
    EXPECT_EQ(contentOf(path), "old\n");
}

TEST_F(ReadOnlyDisk, hasNothingForBinaryStorageNotEvenToRead)
{
    const support::Captured console(1);
    BinaryStorage storage;
    std::string path = onDisk("old");
    char buffer[4] = {};
    EXPECT_EQ(storage.retrieve(path.data(), buffer, 4U), 0);
    EXPECT_EQ(storage.store(path.data(), buffer, 4U), 0);
    EXPECT_EQ(storage.clear(path.data()), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot open file for reading\n"
                              "BinaryStorage:: cannot open file for writing\n"
                              "BinaryStorage:: cannot remove file " +
                                  path + ", error :" + std::to_string(EROFS) + "\n");
}
