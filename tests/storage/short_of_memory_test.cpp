// Record files when the buffer of their stream can't be had; files and directories when no memory
// can.
#include <gpal/Storage.h>

#include <gmock/gmock.h>
#include <new>
#include <syslog.h>

#include "support/descriptors.h"
#include "support/failing_allocations.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

namespace
{

class RecordsShortOfMemory : public testing::Test
{
protected:
    RecordsShortOfMemory()
    {
        m_records.init(m_file.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    }

    int store() { return m_records.store("key", m_data, 3); }

    template <typename Call>
    void expectRefused(Call call)
    {
        const auto before = support::openDescriptors();
        {
            constexpr std::size_t BUFFER = 1024; // at least; the stream itself is smaller
            const support::FailingAllocations memory(0, support::FailingAllocations::OF_THIS_THREAD,
                                                     BUFFER);
            EXPECT_THROW(call(), std::bad_alloc);
        }
        EXPECT_EQ(support::openDescriptors(), before);
    }

    support::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.file("records", "old\n");
    Storage m_records;
    char m_data[4] = "new";
};

class FilesShortOfMemory : public testing::Test
{
protected:
    /// Makes a call with less memory than it needs, from none on, then with enough.
    template <typename Call>
    void expectUntilItSucceeds(bool result, Call call)
    {
        const auto before = support::openDescriptors();
        bool wasShort = true;
        int blocks = 0;
        for (; wasShort; ++blocks) {
            const support::FailingAllocations memory(blocks);
            const bool found = call();
            wasShort = support::FailingAllocations::struck();
            ASSERT_EQ(found, !wasShort || result);
        }
        EXPECT_GT(blocks, 1) << "no memory was needed";
        EXPECT_EQ(support::openDescriptors(), before);
    }

    support::TemporaryDirectory m_directory;
    const std::string m_source = m_directory.file("source", "new");
    const std::string m_destination = m_directory.file("destination", "old");
};

} // namespace

TEST_F(RecordsShortOfMemory, areNotLeftHalfOpen)
{
    expectRefused([this] { store(); });
    EXPECT_EQ(store(), 3);
    m_records.shutdown();
    EXPECT_EQ(support::contentOf(m_file), "old\nnew\n");
}

TEST_F(RecordsShortOfMemory, areAppendedToAfterAnEmptyingThatFailed)
{
    expectRefused([this] { m_records.clear(); });
    EXPECT_EQ(store(), 3);
    m_records.shutdown();
    EXPECT_EQ(store(), 3);
    m_records.shutdown();
    EXPECT_EQ(support::contentOf(m_file), "new\nnew\n") << "it was emptied when it was opened";
}

TEST_F(FilesShortOfMemory, areNotCopied)
{
    expectUntilItSucceeds(false,
                          [this] { return Storage::copyFile_noEx(m_source, m_destination); });
    EXPECT_EQ(support::contentOf(m_destination), "new") << "in the end there was memory";
}

TEST_F(FilesShortOfMemory, areNotMovedThoughTheDestinationIsGone)
{
    const support::FailingAllocations memory;
    EXPECT_TRUE(Storage::mvFile(m_source, m_destination));
    EXPECT_TRUE(Storage::fileExists(m_source));
    EXPECT_FALSE(Storage::fileExists(m_destination));
}

TEST_F(FilesShortOfMemory, areNotMadeWhichIsLogged)
{
    const support::RecordedLog log;
    {
        constexpr std::size_t BUFFER = 1024; // at least
        const support::FailingAllocations memory(0, support::FailingAllocations::OF_THIS_THREAD,
                                                 BUFFER);
        EXPECT_FALSE(Storage::simpleCreateFile(m_source.c_str(), "text"));
    }
    EXPECT_THAT(log.lines(),
                testing::ElementsAre(support::LogLine{LOG_ERR, "createFile: file \"" + m_source +
                                                                   "\" couldn't be opened\n"}));
}

TEST_F(FilesShortOfMemory, areNotDeletedByDirectoryAndName)
{
    const std::string directory = m_directory.path("");
    const std::string name = "source";
    expectUntilItSucceeds(false, [&] { return Storage::deleteFile_noEx(directory, name); });
    EXPECT_FALSE(Storage::fileExists(m_source)) << "in the end there was memory";
}

TEST_F(FilesShortOfMemory, stayWithTheirTreeWhoseDeletionSucceedsAllTheSame)
{
    const std::string tree = m_directory.path("tree");
    std::filesystem::create_directories(tree + "/a directory below it");
    expectUntilItSucceeds(true, [&] { return Storage::deleteNonEmptyDirectory(tree); });
    EXPECT_FALSE(Storage::fileExists(tree)) << "in the end there was memory";
}

TEST_F(FilesShortOfMemory, getNoDirectories)
{
    const std::string below = m_directory.path("some/directories/");
    expectUntilItSucceeds(false, [&] { return Storage::makeDir(below); });
    EXPECT_TRUE(Storage::fileExists(below)) << "in the end there was memory";
}
