// What storage does on a flash that takes no more bytes or no more files. What it does with the
// bytes of files themselves is shown, of the same kind of file system, in tests/storage.
#include <gpal/BinaryStorage.h>
#include <gpal/FileHandle.h>
#include <gpal/FileManager.h>
#include <gpal/Storage.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <list>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "device/booted.h"
#include "support/observed.h"
#include "support/private_mounts.h"
#include "support/temporary_directory.h"

using support::Captured;
using support::contentOf;
using support::eventually;
using support::exists;
using support::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

namespace
{

const std::string NO_SPACE = std::strerror(ENOSPC);

/// A small flash of the test's own with a file and a directory on it, which are to stay.
class Flash : public devicetest::OnTheDevice
{
protected:
    void prepare() override
    {
        std::string whyNot;
        ASSERT_TRUE(support::enterPrivateNamespaces(whyNot)) << whyNot;
        mountFlash(m_flash, "size=512k,nr_inodes=8");
        std::ofstream(on("old")) << "old";
        std::filesystem::create_directory(on("directory"));
        m_source = m_directory.file("source", "text");
        m_large = m_directory.file("large", std::string(100000, 'x'));
    }
    void restore() override
    {
        EXPECT_EQ(contentOf(on("old")), "old");
        EXPECT_TRUE(std::filesystem::is_directory(on("directory")));
        // The half of tar that decompresses may outlast the other by a moment.
        EXPECT_TRUE(eventually([&] { return umount2(m_flash.c_str(), 0) == 0; }))
            << "a file was left open";
    }

    static void mountFlash(const std::string& place, const char* options)
    {
        std::filesystem::create_directories(place);
        ASSERT_EQ(mount("flash", place.c_str(), "tmpfs", 0, options), 0);
    }

    /// Leaves not one byte.
    void fill() const
    {
        std::ofstream(on("filling"), std::ios::binary) << std::string(1 << 20, 'x');
        ASSERT_EQ(Storage::AbsoluteDiskSpace(m_flash), 0);
    }

    /// Leaves not one file to be made, of whatever kind.
    void useUpFiles() const
    {
        for (int i = 0; Storage::createSymlink("old", on("link" + std::to_string(i))) == 0; ++i) {
        }
        ASSERT_EQ(errno, ENOSPC);
    }

    std::string on(const std::string& name) const { return m_flash + "/" + name; }

    support::TemporaryDirectory m_directory;
    const std::string m_flash = m_directory.path("flash");
    std::string m_source;
    std::string m_large;
    support::RecordedLog m_log;
};

/// The same, with what is packed and unpacked in the current directory.
class FlashForArchives : public Flash
{
protected:
    void prepare() override
    {
        Flash::prepare();
        std::filesystem::current_path(m_directory.path());
    }
    void restore() override
    {
        std::filesystem::current_path("/");
        Flash::restore();
    }

    static bool isListLeft()
    {
        for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
            if (entry.path().filename().string().rfind("listOfTarFiles", 0) == 0) {
                return true;
            }
        }
        return false;
    }
};

} // namespace

TEST_F(Flash, thatIsFullHasNoSpaceForAnybody)
{
    setenv("MIRTA_USER_DISK", m_flash.c_str(), 1);
    setenv("MIRTA_USER_DISK_RESERVED", "4096", 1);
    const int size = Storage::AbsoluteDiskSize(m_flash);
    EXPECT_EQ(size, 512 * 1024);
    fill();
    EXPECT_EQ(Storage::AbsoluteDiskSpace(m_flash), 0);
    EXPECT_EQ(Storage::UserDiskSpace(m_flash), 0);
    EXPECT_EQ(Storage::AbsoluteDiskSize(m_flash), size);
    EXPECT_EQ(Storage::UserDiskSize(m_flash), size - 4096);
    EXPECT_EQ(Storage::checkDiskUsage(m_flash), 100);
    EXPECT_TRUE(Storage::deleteFile_noEx(on("filling")));
    EXPECT_GT(Storage::AbsoluteDiskSpace(m_flash), 400 * 1024);
}

TEST_F(Flash, thatIsFullIsReadListedComparedAndClearedAllTheSame)
{
    fill();
    std::list<std::string> names;
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(m_flash, &names), 0);
    EXPECT_THAT(names, UnorderedElementsAre("old", "filling"));
    EXPECT_EQ(Storage::compareFiles(on("old"), on("old")), 0);
    EXPECT_EQ(Storage::fileSize(on("old")), 3);
    EXPECT_TRUE(Storage::renameFile(on("filling"), on("renamed")));
    EXPECT_TRUE(FileManager().isPrefix(on("old"), on("old")));
    EXPECT_TRUE(Storage::changePermissions(on("renamed"), 0600));
    EXPECT_TRUE(FileManager().copyFile(on("old"), m_directory.path("copy")));
    EXPECT_EQ(contentOf(m_directory.path("copy")), "old");
    EXPECT_EQ(FileManager().deleteFile(on("renamed")), 0);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Flash, thatIsFullHasRoomForWhatReplacesAFileOfItsOwn)
{
    fill();
    EXPECT_TRUE(Storage::mvFile(m_large, on("filling")));
    EXPECT_EQ(contentOf(on("filling")), std::string(100000, 'x'));
    EXPECT_FALSE(exists(m_large));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Flash, thatIsFullTakesRecordsAgainOnceThereIsRoom)
{
    fill();
    const std::string path = on("records");
    std::string data(100000, 'x');
    Storage records;
    records.init(path.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    EXPECT_EQ(records.writeBinary(data.data(), 100000), 0);
    EXPECT_EQ(records.store("key", data.data(), 100000), 0);
    EXPECT_TRUE(Storage::deleteFile_noEx(on("filling")));
    EXPECT_EQ(records.store("key", data.data(), 1000), 1000);
    EXPECT_EQ(records.retrieve("key", data.data()), 1000);
    records.shutdown();
    EXPECT_EQ(contentOf(path), std::string(1000, 'x') + "\n");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Flash, thatTakesNoMoreFilesGetsNoDirectories)
{
    EXPECT_TRUE(Storage::makeDir(on("made/")));
    useUpFiles();
    errno = 0;
    EXPECT_FALSE(Storage::makeDir(on("directory/deeper/")));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(makeDir(on("made/other/file"), true), -1);
    EXPECT_FALSE(exists(on("directory/deeper")));
    EXPECT_TRUE(Storage::makeDir(on("made/"))) << "what is there needs no making";
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Flash, thatTakesNoMoreFilesGetsNoneByCopyingOrCreating)
{
    useUpFiles();
    const std::string path = on("new");
    EXPECT_FALSE(Storage::copyFile_noEx(m_source, path));
    EXPECT_FALSE(Storage::renameFile(m_source, path)) << "a copy, from another disk";
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_FALSE(Storage::simpleCreateFile(path.c_str(), "lost"));
    EXPECT_FALSE(FileManager().createFile(path, "lost"));
    EXPECT_FALSE(FileManager().copyFile(m_source, path));
    EXPECT_FALSE(FileManager().moveFile(m_source, path));
    FileHandle handle(path, std::ios_base::out);
    EXPECT_FALSE(handle.isOpen());
    const LogLine notOpened{LOG_ERR, "file \"" + path + "\" couldn't be opened\n"};
    EXPECT_THAT(m_log.lines(), ElementsAre(LogLine{LOG_ERR, "createFile: file \"" + path +
                                                                "\" couldn't be opened\n"},
                                           notOpened, notOpened, notOpened, notOpened));
    EXPECT_FALSE(exists(path));
    EXPECT_EQ(contentOf(m_source), "text");
    EXPECT_TRUE(Storage::renameFile(on("old"), on("directory/old"))) << "that needs no new one";
    EXPECT_TRUE(Storage::renameFile(on("directory/old"), on("old")));
}

TEST_F(Flash, thatTakesNoMoreFilesHasNoneForRecords)
{
    useUpFiles();
    const Captured console(1);
    std::string path = on("records");
    std::string data = "data";
    Storage records;
    records.init(path.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    EXPECT_EQ(records.store("key", data.data(), 4), 0);
    EXPECT_EQ(records.clear(), 0);
    BinaryStorage storage;
    EXPECT_EQ(storage.store(path.data(), data.data(), 4U), 0);
    EXPECT_EQ(storage.retrieve(path.data(), data.data(), 4U), 0);
    EXPECT_EQ(storage.clear(path.data()), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot open file for writing\n"
                              "BinaryStorage:: cannot open file for reading\n"
                              "BinaryStorage:: cannot remove file " +
                                  path + ", error :" + std::to_string(ENOSPC) + "\n");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FlashForArchives, thatIsFullTakesNoArchive)
{
    fill();
    for (const bool compressed : {false, true}) {
        EXPECT_FALSE(Storage::pack(on("archive"), true, {"large", "source"}, compressed, false));
    }
    const LogLine failed{LOG_ERR, "packInternal: system: Failed with exit code: " +
                                      std::to_string(W_EXITCODE(1, 0))};
    EXPECT_THAT(m_log.lines(), ElementsAre(failed, failed));
    EXPECT_FALSE(isListLeft());
}

TEST_F(FlashForArchives, thatIsFullHasNoRoomForWhatIsUnpacked)
{
    ASSERT_TRUE(Storage::pack(m_directory.path("archive"), true, {"large"}, true, false));
    fill();
    const Captured output(1);
    const Captured errors(2);
    EXPECT_FALSE(Storage::unpackandunzip(m_directory.path("archive"), on("directory")));
    EXPECT_THAT(errors.text(), testing::HasSubstr(NO_SPACE)) << "tar's own words";
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(FlashForArchives, isNotEvenTriedWhenTheListOfMembersHasNoRoom)
{
    mountFlash("/tmp", "size=4k");
    std::ofstream("/tmp/filling") << std::string(4096, 'x');
    EXPECT_TRUE(Storage::pack("archive", false, {"large"}, false, false));
    EXPECT_FALSE(isListLeft());
    EXPECT_EQ(umount2("/tmp", 0), 0);
    EXPECT_FALSE(exists("archive"));
    ASSERT_FALSE(m_log.lines().empty());
    const std::string logged = m_log.lines().front().text;
    EXPECT_THAT(logged, StartsWith("packInternal: fflush: \"/tmp/listOfTarFiles"));
    EXPECT_THAT(logged, testing::EndsWith("\": " + NO_SPACE));
}

TEST_F(FlashForArchives, isNotEvenTriedWhenTheListOfMembersCannotBeMade)
{
    mountFlash("/tmp", "nr_inodes=1");
    EXPECT_FALSE(Storage::pack("archive", false, {"large"}, false, false));
    EXPECT_EQ(umount2("/tmp", 0), 0);
    EXPECT_FALSE(exists("archive"));
    EXPECT_THAT(m_log.lines(), ElementsAre(LogLine{LOG_ERR, "packInternal: mkstemp: " + NO_SPACE}));
}
