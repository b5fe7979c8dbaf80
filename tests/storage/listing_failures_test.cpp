#include <gpal/Storage.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include <gmock/gmock.h>

#include "support/descriptors.h"
#include "support/file_calls.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"

using support::openDescriptors;
using support::PlainThread;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace calls = support::calls;

namespace
{

/// A directory of which the test says how each step of its reading ends.
class ListingStep : public testing::Test
{
protected:
    int list()
    {
        return Storage::getListOfElementsByDirectory_noEx(m_directory.path(), &m_list,
                                                          Storage::eDirReadFilesAndLinks, false);
    }
    int listDevices()
    {
        return Storage::getListOfCharacterDeviceByDirectory(m_directory.path(), &m_list);
    }

    template <typename Result>
    static Result fail(Result result)
    {
        errno = EIO;
        return result;
    }

    support::TemporaryDirectory m_directory;
    std::list<std::string> m_list{"old"};
};

/// Entries that no file system holds in just this way.
class MadeUpEntries
{
public:
    explicit MadeUpEntries(const std::vector<const char*>& names)
    {
        for (const char* name : names) {
            dirent entry{};
            entry.d_type = DT_DIR; // which is not true
            std::snprintf(entry.d_name, sizeof entry.d_name, "%s", name);
            m_entries.push_back(entry);
        }
    }

private:
    std::vector<dirent> m_entries;
    std::size_t m_next = 0;
    Replacement<dirent*(DIR*)> m_readdir{
        calls::readdir,
        [this](DIR*) { return m_next == m_entries.size() ? nullptr : &m_entries[m_next++]; }};
};

/// A thread that lists a directory though it is being cancelled.
PlainThread cancelledWhileListing(const std::string& directory)
{
    return PlainThread([directory] {
        std::list<std::string> names;
        pthread_cancel(pthread_self());
        Storage::getListOfCharacterDeviceByDirectory(directory, &names);
    });
}

} // namespace

TEST_F(ListingStep, thatExaminesTheDirectoryEndsItAtOnce)
{
    int opened = 0;
    const Replacement opendir(calls::opendir, [&](const char* path) {
        ++opened;
        return calls::opendir.original(path);
    });
    const Replacement stat(calls::stat, [](const char*, struct stat*) { return fail(-1); });
    EXPECT_EQ(list(), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(listDevices(), 0);
    EXPECT_EQ(opened, 0);
    EXPECT_THAT(m_list, ElementsAre("old"));
}

TEST_F(ListingStep, thatOpensTheDirectoryLeavesTheListEmpty)
{
    const Replacement opendir(calls::opendir, [](const char*) { return fail<DIR*>(nullptr); });
    EXPECT_EQ(list(), 0);
    EXPECT_THAT(m_list, IsEmpty());
    m_list = {"old"};
    EXPECT_EQ(listDevices(), 0);
    EXPECT_THAT(m_list, IsEmpty());
}

TEST_F(ListingStep, thatReadsOneEntryDecidesTheOrder)
{
    m_directory.file("m", "");
    m_directory.file("a", "");
    m_directory.file("z", "");
    const MadeUpEntries entries({"m", ".", "a", "..", "z"});
    EXPECT_EQ(list(), 0);
    EXPECT_THAT(m_list, ElementsAre("m", "a", "z"));
}

TEST_F(ListingStep, thatReadsOneEntryIsNotTrustedWithItsKind)
{
    m_directory.file("file", "");
    const MadeUpEntries entries({"file"});
    EXPECT_EQ(Storage::getListOfDirectoriesByDirectoryNoPath(m_directory.path(), &m_list), 0);
    EXPECT_THAT(m_list, IsEmpty());
}

TEST_F(ListingStep, thatReadsOneEntryEndsTheListWhenItFails)
{
    const auto before = openDescriptors();
    m_directory.file("a", "");
    {
        const Replacement readdir(calls::readdir, [](DIR*) { return fail<dirent*>(nullptr); });
        EXPECT_EQ(list(), 0);
        EXPECT_THAT(m_list, IsEmpty());
        EXPECT_EQ(listDevices(), 1);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ListingStep, thatExaminesOneEntryLeavesItOut)
{
    m_directory.file("a", "");
    m_directory.file("b", "");
    m_directory.file("c", "");
    const MadeUpEntries entries({"a", "b", "c"});
    const Replacement lstat(calls::lstat, [this](const char* path, struct stat* file) {
        calls::lstat.original(path, file);
        return path == m_directory.path("b") ? fail(-1) : 0;
    });
    EXPECT_EQ(list(), 0);
    EXPECT_THAT(m_list, ElementsAre("a", "c"));
}

TEST_F(ListingStep, thatExaminesOneDeviceLeavesItOut)
{
    for (const char* name : {"a", "b", "c"}) {
        std::filesystem::create_symlink("/dev/null", m_directory.path(name));
    }
    const MadeUpEntries entries({"a", "b", "c"});
    const Replacement stat(calls::stat, [this](const char* path, struct stat* file) {
        calls::stat.original(path, file);
        return path == m_directory.path("b") ? fail(-1) : 0;
    });
    EXPECT_EQ(listDevices(), 1);
    EXPECT_THAT(m_list, ElementsAre(m_directory.path("a"), m_directory.path("c")));
}

TEST_F(ListingStep, thatClosesTheDirectoryGivesTheResult)
{
    m_directory.file("a", "");
    const Replacement closedir(calls::closedir, [](DIR* directory) {
        calls::closedir.original(directory);
        return fail(-1);
    });
    EXPECT_EQ(list(), -1);
    EXPECT_THAT(m_list, ElementsAre("a"));
    EXPECT_EQ(listDevices(), 1) << "which the listing of devices does not look at";
}

TEST_F(ListingStep, atWhichTheThreadIsCancelledLeavesNoDescriptor)
{
    const auto before = openDescriptors();
    {
        const Replacement readdir(calls::readdir, [](DIR* directory) {
            pthread_testcancel();
            return calls::readdir.original(directory);
        });
        EXPECT_TRUE(cancelledWhileListing(m_directory.path()).wasCancelled());
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ListingStep, thatClosesTheDirectoryIsDoneBeforeTheThreadIsCancelled)
{
    const auto before = openDescriptors();
    {
        const Replacement opendir(calls::opendir, [](const char* path) {
            int ignored = 0;
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
            DIR* directory = calls::opendir.original(path); // may be where it is cancelled
            pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &ignored);
            return directory;
        });
        const Replacement closedir(calls::closedir, [](DIR* directory) {
            pthread_testcancel();
            return calls::closedir.original(directory);
        });
        EXPECT_TRUE(cancelledWhileListing(m_directory.path()).wasCancelledOnlyAtItsEnd());
    }
    EXPECT_EQ(openDescriptors(), before);
}
