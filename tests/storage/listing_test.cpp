#include <gpal/Storage.h>

#include <gmock/gmock.h>

#include "support/temporary_directory.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace
{

class Listing : public testing::Test
{
protected:
    Listing()
    {
        m_directory.file("a", "");
        std::filesystem::create_directory(m_directory.path("b"));
        std::filesystem::create_symlink("b", m_directory.path("c"));
    }

    support::TemporaryDirectory m_directory;
    std::list<std::string> m_list{"old"};
};

} // namespace

TEST_F(Listing, keepsOneKindAndTakesLinksForLinks)
{
    EXPECT_EQ(Storage::getListOfDirectoriesByDirectoryNoPath(m_directory.path(), &m_list), 0);
    EXPECT_THAT(m_list, ElementsAre("b"));
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(m_directory.path(), &m_list), 0);
    EXPECT_THAT(m_list, ElementsAre("a"));
    EXPECT_EQ(Storage::getListOfLinksByDirectory_noEx(m_directory.path(), &m_list, false), 0);
    EXPECT_THAT(m_list, ElementsAre("c"));
    EXPECT_EQ(Storage::getListOfFilesAndLinksByDirectory(m_directory.path(), &m_list, false), 0);
    EXPECT_THAT(m_list, UnorderedElementsAre("a", "c"));
    EXPECT_EQ(Storage::getListOfElementsByDirectory_noEx(
                  m_directory.path(), &m_list, static_cast<Storage::eDirReadType>(4), false),
              0);
    EXPECT_THAT(m_list, IsEmpty());
}

TEST_F(Listing, givesTheSamePathsWithAndWithoutASlash)
{
    for (const char* end : {"", "/"}) {
        Storage::getListOfDirectoriesByDirectoryWithPath(m_directory.path() + end, &m_list);
        EXPECT_THAT(m_list, ElementsAre(m_directory.path("b")));
    }
}

TEST_F(Listing, leavesTheListAloneWhenThereIsNoDirectory)
{
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(m_directory.path("none"), &m_list), -1);
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path("none"), &m_list), 0);
    EXPECT_THAT(m_list, ElementsAre("old"));
    EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(m_directory.path("a"), &m_list), 0);
    EXPECT_THAT(m_list, IsEmpty());
}

TEST_F(Listing, findsCharacterDevicesThroughLinksToo)
{
    std::filesystem::create_symlink("/dev/null", m_directory.path("null"));
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path(), &m_list), 1);
    EXPECT_THAT(m_list, ElementsAre(m_directory.path("null")));
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory("/dev/", &m_list), 1);
    EXPECT_THAT(m_list, Contains("/dev/null"));
}
