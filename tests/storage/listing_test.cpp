#include <gpal/Storage.h>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "support/descriptors.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace
{

/// A directory with an entry of each kind that needs no privilege.
class Listing : public testing::Test
{
protected:
    Listing()
    {
        m_directory.file("a", "");
        std::filesystem::create_directory(path("b"));
        m_directory.file("b/below", "");
        std::filesystem::create_symlink("b", path("c"));
        std::filesystem::create_symlink("nowhere", path("d"));
        mkfifo(path("e").c_str(), 0600);
    }

    std::string path(const std::string& name) const { return m_directory.path(name); }

    std::list<std::string> namesOf(int kind)
    {
        EXPECT_EQ(Storage::getListOfElementsByDirectory_noEx(
                      m_directory.path(), &m_list, static_cast<Storage::eDirReadType>(kind), false),
                  0);
        return m_list;
    }

    support::TemporaryDirectory m_directory;
    std::list<std::string> m_list{"old"};
};

class DeviceListing : public Listing
{
protected:
    /// Makes a device node, if that is allowed here.
    bool make(const std::string& name, mode_t kind, dev_t device) const
    {
        return mknod(path(name).c_str(), kind | 0600, device) == 0;
    }
};

} // namespace

TEST_F(Listing, keepsEntriesOfOneKind)
{
    EXPECT_THAT(namesOf(0), ElementsAre("b"));
    EXPECT_THAT(namesOf(1), ElementsAre("a"));
    EXPECT_THAT(namesOf(2), UnorderedElementsAre("c", "d"));
    EXPECT_THAT(namesOf(3), UnorderedElementsAre("a", "c", "d"));
}

TEST_F(Listing, numbersTheKinds)
{
    EXPECT_EQ(Storage::eDirReadDirectories, 0);
    EXPECT_EQ(Storage::eDirReadFiles, 1);
    EXPECT_EQ(Storage::eDirReadLinks, 2);
    EXPECT_EQ(Storage::eDirReadFilesAndLinks, 3);
}

TEST_F(Listing, ofAnyOtherKindIsEmpty)
{
    for (const int kind : {4, -1, 0100000}) {
        m_list = {"old"};
        EXPECT_THAT(namesOf(kind), IsEmpty());
    }
}

TEST_F(Listing, ofDirectoriesComesWithTheirPaths)
{
    EXPECT_EQ(Storage::getListOfDirectoriesByDirectoryWithPath(m_directory.path(), &m_list), 0);
    EXPECT_THAT(m_list, ElementsAre(path("b")));
}

TEST_F(Listing, ofDirectoriesComesWithoutTheirPaths)
{
    EXPECT_EQ(Storage::getListOfDirectoriesByDirectoryNoPath(m_directory.path(), &m_list), 0);
    EXPECT_THAT(m_list, ElementsAre("b"));
}

TEST_F(Listing, ofFilesComesWithoutTheirPaths)
{
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(m_directory.path(), &m_list), 0);
    EXPECT_THAT(m_list, ElementsAre("a"));
}

TEST_F(Listing, ofLinksComesWithOrWithoutTheirPaths)
{
    EXPECT_EQ(Storage::getListOfLinksByDirectory_noEx(m_directory.path(), &m_list, false), 0);
    EXPECT_THAT(m_list, UnorderedElementsAre("c", "d"));
    EXPECT_EQ(Storage::getListOfLinksByDirectory_noEx(m_directory.path(), &m_list, true), 0);
    EXPECT_THAT(m_list, UnorderedElementsAre(path("c"), path("d")));
}

TEST_F(Listing, ofFilesAndLinksComesWithOrWithoutTheirPaths)
{
    EXPECT_EQ(Storage::getListOfFilesAndLinksByDirectory(m_directory.path(), &m_list, false), 0);
    EXPECT_THAT(m_list, UnorderedElementsAre("a", "c", "d"));
    EXPECT_EQ(Storage::getListOfFilesAndLinksByDirectory(m_directory.path(), &m_list, true), 0);
    EXPECT_THAT(m_list, UnorderedElementsAre(path("a"), path("c"), path("d")));
}

TEST_F(Listing, comesInTheOrderOfTheFileSystem)
{
    std::list<std::string> inOrder;
    for (int i = 0; i < 50; ++i) {
        m_directory.file("b/" + std::to_string(i * 7919 % 50), "");
    }
    for (const auto& entry : std::filesystem::directory_iterator(path("b"))) {
        inOrder.push_back(entry.path().filename());
    }
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(path("b"), &m_list), 0);
    EXPECT_EQ(m_list, inOrder);
    EXPECT_EQ(m_list.size(), 51U);
}

TEST_F(Listing, putsOneSlashBetweenDirectoryAndName)
{
    for (const char* end : {"", "/"}) {
        Storage::getListOfDirectoriesByDirectoryWithPath(m_directory.path() + end, &m_list);
        EXPECT_THAT(m_list, ElementsAre(path("b")));
    }
    Storage::getListOfDirectoriesByDirectoryWithPath(m_directory.path() + "//", &m_list);
    EXPECT_THAT(m_list, ElementsAre(m_directory.path() + "//b")) << "given as it is";
}

TEST_F(Listing, followsALinkToTheDirectoryItself)
{
    EXPECT_EQ(Storage::getListOfFilesAndLinksByDirectory(path("c"), &m_list, true), 0);
    EXPECT_THAT(m_list, ElementsAre(path("c/below")));
}

TEST_F(Listing, ofTheWorkingDirectoryHasItsPathsFromThere)
{
    ASSERT_EQ(chdir(m_directory.path().c_str()), 0);
    Storage::getListOfDirectoriesByDirectoryWithPath(".", &m_list);
    EXPECT_THAT(m_list, ElementsAre("./b"));
    EXPECT_EQ(Storage::getListOfDirectoriesByDirectoryWithPath("", &m_list), -1);
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(Listing, leavesOutOfTheHiddenNamesOnlyTheDirectoryAndTheOneAbove)
{
    for (const char* name : {".hidden", "..", "..x", "...", "x."}) {
        std::filesystem::create_directories(path("b") + "/" + name);
    }
    EXPECT_EQ(Storage::getListOfDirectoriesByDirectoryNoPath(path("b"), &m_list), 0);
    EXPECT_THAT(m_list, UnorderedElementsAre(".hidden", "..x", "...", "x."));
}

TEST_F(Listing, leavesTheListAloneWhenTheDirectoryCannotBeExamined)
{
    const support::RecordedLog log;
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(path("none"), &m_list), -1);
    EXPECT_EQ(Storage::getListOfDirectoriesByDirectoryNoPath(path("d"), &m_list), -1);
    EXPECT_EQ(Storage::getListOfDirectoriesByDirectoryWithPath(path("a/x"), &m_list), -1);
    EXPECT_EQ(Storage::getListOfLinksByDirectory_noEx(path("none"), &m_list, true), -1);
    EXPECT_EQ(Storage::getListOfFilesAndLinksByDirectory(path("none"), &m_list, true), -1);
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(path("none"), &m_list), 0);
    EXPECT_THAT(m_list, ElementsAre("old"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Listing, isEmptyWhenThePathIsNoDirectory)
{
    const support::RecordedLog log;
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(path("a"), &m_list), 0);
    EXPECT_THAT(m_list, IsEmpty());
    m_list = {"old"};
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(path("a"), &m_list), 0);
    EXPECT_THAT(m_list, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Listing, isEmptyWhenTheDirectoryMayNotBeRead)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root may become a user who may not";
    }
    constexpr uid_t ANOTHER_USER = 65534;
    std::filesystem::permissions(m_directory.path(), std::filesystem::perms::owner_all |
                                                         std::filesystem::perms::others_exec);
    ASSERT_EQ(seteuid(ANOTHER_USER), 0);
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(m_directory.path(), &m_list), 0);
    EXPECT_THAT(m_list, IsEmpty());
    m_list = {"old"};
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path(), &m_list), 0);
    EXPECT_THAT(m_list, IsEmpty());
    ASSERT_EQ(seteuid(0), 0);
}

TEST_F(Listing, withoutAListFails)
{
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(m_directory.path(), nullptr), -1);
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path(), nullptr), 0);
}

TEST_F(Listing, leavesNoDescriptorBehind)
{
    const auto before = support::openDescriptors();
    namesOf(1);
    Storage::getListOfFilesByDirectoryNoPath(path("none"), &m_list);
    Storage::getListOfFilesByDirectoryNoPath(path("a"), &m_list);
    Storage::getListOfCharacterDeviceByDirectory("/dev", &m_list);
    EXPECT_EQ(support::openDescriptors(), before);
}

TEST_F(DeviceListing, keepsCharacterDevicesAndLinksToThem)
{
    std::filesystem::create_symlink("/dev/null", path("null"));
    std::filesystem::create_symlink("null", path("again"));
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path(), &m_list), 1);
    EXPECT_THAT(m_list, UnorderedElementsAre(path("null"), path("again")));
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path() + "/", &m_list), 1);
    EXPECT_THAT(m_list, UnorderedElementsAre(path("null"), path("again")));
}

TEST_F(DeviceListing, keepsNoBlockDevices)
{
    if (!make("character", S_IFCHR, makedev(1, 3)) || !make("block", S_IFBLK, makedev(7, 0))) {
        GTEST_SKIP() << "device nodes may not be made here";
    }
    std::filesystem::create_symlink("block", path("link to block"));
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path(), &m_list), 1);
    EXPECT_THAT(m_list, ElementsAre(path("character")));
    EXPECT_THAT(namesOf(0), ElementsAre("b"));
    EXPECT_THAT(namesOf(1), ElementsAre("a"));
    EXPECT_THAT(namesOf(2), UnorderedElementsAre("c", "d", "link to block"));
}

TEST_F(DeviceListing, ofADirectoryWithoutDevicesIsEmptyAndASuccess)
{
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path(), &m_list), 1);
    EXPECT_THAT(m_list, IsEmpty());
}

TEST_F(DeviceListing, ofTheDevicesDirectoryHasTheNullDevice)
{
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory("/dev", &m_list), 1);
    EXPECT_THAT(m_list, Contains("/dev/null"));
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory("/dev/", &m_list), 1);
    EXPECT_THAT(m_list, Contains("/dev/null"));
}
