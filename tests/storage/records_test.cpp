#include <gpal/BinaryStorage.h>

#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

#include "storage/record_modes.h"
#include "support/descriptors.h"
#include "support/temporary_directory.h"

using support::contentOf;
using support::openDescriptors;

namespace
{

constexpr auto FOR_READING = std::ios_base::in | std::ios_base::binary;
constexpr auto TRUNCATE = std::ios_base::out | std::ios_base::trunc | std::ios_base::binary;

/// Counts how often the file is closed.
class CountingStorage : public Storage
{
public:
    ~CountingStorage() override = default;
    void shutdown() override
    {
        ++m_shutdowns;
        Storage::shutdown();
    }
    int m_shutdowns = 0;
};

class Records : public testing::Test
{
protected:
    Records() { m_records.init(m_file.c_str(), FOR_READING, APPEND); }

    int store(std::string record)
    {
        return m_records.store("key", record.data(), static_cast<int>(record.size()));
    }

    int writeBinary(std::string bytes)
    {
        return m_records.writeBinary(bytes.data(), static_cast<int>(bytes.size()));
    }

    int retrieve() { return m_records.retrieve("key", m_buffer); }

    std::string readBinary(int length)
    {
        const int read = m_records.readBinary(m_buffer, length);
        return std::string(m_buffer, static_cast<std::size_t>(read));
    }

    support::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.path("records");
    CountingStorage m_records;
    char m_buffer[1024] = {};
};

/// Records on a disk that takes none.
class RecordsOnAFullDisk : public Records
{
protected:
    void SetUp() override
    {
        if (access("/dev/full", W_OK) != 0) {
            GTEST_SKIP() << "no /dev/full here";
        }
        m_records.init("/dev/full", FOR_READING, APPEND);
    }
};

} // namespace

TEST_F(RecordsOnAFullDisk, failWithTheirTextOrWithTheirLineFeed)
{
    // Records are buffered: the first that doesn't fit fails, wherever in it the buffer ends.
    for (const std::size_t length : {63U, 64U, 100U, 511U}) {
        m_records.init("/dev/full", FOR_READING, APPEND);
        const std::string record(length, 'x');
        int stored = 0;
        while (stored < 100000 && store(record) > 0) {
            ++stored;
        }
        EXPECT_LT(stored, 100000) << length;
        m_records.shutdown();
    }
}

TEST_F(Records, areLinesThatReadBackInOrderAndThenFromTheStart)
{
    EXPECT_EQ(store("a"), 1);
    EXPECT_EQ(store("bc"), 2);
    EXPECT_EQ(store(""), 0);
    EXPECT_EQ(retrieve(), 1);
    EXPECT_EQ(contentOf(m_file), "a\nbc\n\n");
    EXPECT_EQ(retrieve(), 2);
    EXPECT_STREQ(m_buffer, "bc");
    EXPECT_EQ(retrieve(), 0) << "the empty record";
    EXPECT_STREQ(m_buffer, "");
    EXPECT_EQ(retrieve(), 0) << "the end";
    EXPECT_EQ(retrieve(), 1);
    EXPECT_STREQ(m_buffer, "a");
}

TEST_F(Records, areStoredWithoutTheirKey)
{
    char data[] = "x";
    EXPECT_EQ(m_records.store(nullptr, data, 1), 1);
    EXPECT_EQ(m_records.store("other", data, 1), 1);
    EXPECT_EQ(m_records.retrieve(nullptr, m_buffer), 1);
    EXPECT_EQ(m_records.retrieve("whatever", m_buffer), 1);
    EXPECT_EQ(contentOf(m_file), "x\nx\n");
}

TEST_F(Records, holdAnyByteButReadBackOnlyUpToTheFirstNul)
{
    EXPECT_EQ(store(std::string("ab\0cd", 5)), 5);
    EXPECT_EQ(store(std::string("\xFF\r\x01", 3)), 3);
    EXPECT_EQ(retrieve(), 2);
    EXPECT_EQ(std::string(m_buffer, 6), std::string("ab\0cd\0", 6));
    EXPECT_EQ(retrieve(), 3);
    EXPECT_STREQ(m_buffer, "\xFF\r\x01");
    EXPECT_EQ(contentOf(m_file), std::string("ab\0cd\n\xFF\r\x01\n", 10));
}

TEST_F(Records, withALineFeedInsideReadBackAsTwo)
{
    EXPECT_EQ(store("ab\nc"), 4);
    EXPECT_EQ(retrieve(), 2);
    EXPECT_EQ(retrieve(), 1);
    EXPECT_STREQ(m_buffer, "c");
}

TEST_F(Records, mayHaveAsManyBytesAsTheBufferHolds)
{
    for (const int length : {1022, 1023}) {
        const std::string line(static_cast<std::size_t>(length), 'x');
        m_directory.file("records", line + "\nnext\n");
        EXPECT_EQ(retrieve(), length);
        EXPECT_EQ(m_buffer, line);
        EXPECT_EQ(retrieve(), 4) << "the line feed was taken along";
        m_directory.file("records", line);
        m_records.shutdown();
        EXPECT_EQ(retrieve(), length) << "a last line";
        EXPECT_EQ(m_buffer, line);
        m_records.shutdown();
    }
}

TEST_F(Records, ofMoreThanTheBufferHoldsBlockTheWayToTheNext)
{
    for (const std::size_t length : {1024U, 1025U, 2000U}) {
        for (const char* rest : {"", "\n", "\nnext\n"}) {
            m_directory.file("records", std::string(length, 'x') + rest);
            EXPECT_EQ(retrieve(), 0);
            EXPECT_EQ(std::string(m_buffer).size(), 1023U) << "nothing beyond the buffer";
            EXPECT_EQ(retrieve(), 0) << "starts with the same record again";
            m_records.shutdown();
        }
    }
}

TEST_F(Records, withoutALineFeedAtTheEndAreReadToo)
{
    m_directory.file("records", "one\ntwo");
    EXPECT_EQ(retrieve(), 3);
    EXPECT_EQ(retrieve(), 3);
    EXPECT_STREQ(m_buffer, "two");
    EXPECT_EQ(m_records.m_shutdowns, 0);
    EXPECT_EQ(retrieve(), 0) << "the stream was still usable, and at its end";
    EXPECT_EQ(m_records.m_shutdowns, 0);
    EXPECT_EQ(retrieve(), 3);
    EXPECT_STREQ(m_buffer, "one");
    EXPECT_EQ(m_records.m_shutdowns, 1);
}

TEST_F(Records, thatEndWithABareNulEndTheReading)
{
    m_directory.file("records", std::string("one\n\0", 5));
    EXPECT_EQ(retrieve(), 3);
    EXPECT_EQ(retrieve(), 0);
    EXPECT_EQ(retrieve(), 3) << "from the start at once";
}

TEST_F(Records, areReadOnFromWhereTheLastOneEnded)
{
    m_directory.file("records", "one\ntwo\nthree\n");
    EXPECT_EQ(readBinary(2), "on");
    EXPECT_TRUE(m_records.openStorage(Storage::eAccessRead));
    EXPECT_EQ(retrieve(), 1);
    EXPECT_STREQ(m_buffer, "e");
    EXPECT_EQ(readBinary(5), "two\nt");
    EXPECT_EQ(m_records.m_shutdowns, 0) << "one stream all the time";
}

TEST_F(Records, reachTheFileOnADirectionChangeAtTheLatest)
{
    EXPECT_EQ(store("first"), 5);
    EXPECT_TRUE(m_records.openStorage(Storage::eAccessWrite));
    EXPECT_EQ(m_records.m_shutdowns, 0);
    EXPECT_EQ(contentOf(m_file), "") << "nothing is flushed before";
    EXPECT_TRUE(m_records.openStorage(Storage::eAccessRead));
    EXPECT_EQ(m_records.m_shutdowns, 1);
    EXPECT_EQ(contentOf(m_file), "first\n");
    EXPECT_EQ(retrieve(), 5);
    EXPECT_EQ(store("second"), 6);
    EXPECT_EQ(m_records.m_shutdowns, 2);
    EXPECT_EQ(retrieve(), 5) << "reading starts over";
    EXPECT_STREQ(m_buffer, "first");
    EXPECT_EQ(contentOf(m_file), "first\nsecond\n");
}

TEST_F(Records, afterReadingAreWrittenAsTheWriteModeSays)
{
    m_records.init(m_file.c_str(), FOR_READING, TRUNCATE);
    EXPECT_EQ(store("old"), 3);
    EXPECT_EQ(store("older"), 5) << "the same stream: nothing is emptied in between";
    EXPECT_EQ(retrieve(), 3);
    EXPECT_EQ(store("new"), 3);
    m_records.shutdown();
    EXPECT_EQ(contentOf(m_file), "new\n");
}

TEST_F(Records, areOpenedByTransfersOfNothingToo)
{
    EXPECT_EQ(writeBinary(""), 0);
    EXPECT_TRUE(support::exists(m_file));
    EXPECT_EQ(store("one"), 3);
    EXPECT_EQ(readBinary(0), "");
    EXPECT_EQ(m_records.m_shutdowns, 1);
    EXPECT_EQ(contentOf(m_file), "one\n");
    EXPECT_EQ(writeBinary(""), 0);
    EXPECT_EQ(m_records.m_shutdowns, 2);
}

TEST_F(Records, areReadInAnyModeThatIsNotWriting)
{
    m_directory.file("records", "one\n");
    m_records.init(m_file.c_str(), FOR_READING, TRUNCATE);
    EXPECT_TRUE(m_records.openStorage(static_cast<Storage::eAccessMode>(7)));
    EXPECT_EQ(contentOf(m_file), "one\n");
    EXPECT_EQ(readBinary(4), "one\n");
    EXPECT_EQ(m_records.m_shutdowns, 1) << "7 is not the mode for reading";
}

TEST_F(Records, areNamedByABorrowedTextAndOpenedOnFirstUse)
{
    std::string name = m_directory.path("a");
    EXPECT_EQ(m_records.init(name.c_str(), FOR_READING, APPEND), 1);
    EXPECT_FALSE(support::exists(name));
    name.back() = 'b';
    EXPECT_EQ(store("x"), 1);
    EXPECT_TRUE(support::exists(m_directory.path("b")));
    EXPECT_FALSE(support::exists(m_directory.path("a")));
}

TEST_F(Records, reachTheFileWhenTheirObjectEnds)
{
    const auto before = openDescriptors();
    char data[] = "text";
    std::unique_ptr<StorageInterface> records = std::make_unique<Storage>();
    EXPECT_EQ(records->init(m_file.c_str(), FOR_READING, APPEND), 1);
    EXPECT_EQ(records->store("key", data, 4), 4);
    EXPECT_NE(openDescriptors(), before) << "open until then";
    records.reset();
    EXPECT_EQ(contentOf(m_file), "text\n");
    records = std::make_unique<BinaryStorage>();
    EXPECT_EQ(records->init(m_file.c_str(), FOR_READING, APPEND), 1);
    EXPECT_EQ(records->store("key", data, 2), 2);
    records.reset();
    EXPECT_EQ(contentOf(m_file), "text\nte\n");
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Records, canBeShutDownAnyNumberOfTimes)
{
    m_records.shutdown();
    const auto before = openDescriptors();
    EXPECT_EQ(store("x"), 1);
    m_records.shutdown();
    m_records.shutdown();
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(contentOf(m_file), "x\n");
    EXPECT_EQ(store("y"), 1) << "opened again on use";
}

TEST_F(Records, areClearedAndAppendedToAgain)
{
    const auto before = openDescriptors();
    EXPECT_EQ(store("old"), 3);
    EXPECT_EQ(m_records.clear(), 1);
    EXPECT_EQ(contentOf(m_file), "") << "what was not written yet is gone as well";
    EXPECT_EQ(m_records.m_shutdowns, 2);
    EXPECT_EQ(openDescriptors(), before) << "closed afterwards";
    EXPECT_EQ(store("one"), 3);
    m_records.shutdown();
    EXPECT_EQ(store("two"), 3);
    m_records.shutdown();
    EXPECT_EQ(contentOf(m_file), "one\ntwo\n");
}

TEST_F(Records, thatAreMissingAreClearedByMakingThem)
{
    EXPECT_EQ(m_records.clear(), 1);
    EXPECT_TRUE(support::exists(m_file));
}

TEST_F(Records, thatCannotBeOpenedAreMissedOnceMoreWhenTheyCan)
{
    EXPECT_EQ(retrieve(), 0);
    EXPECT_FALSE(m_records.openStorage(Storage::eAccessRead));
    m_directory.file("records", "one\ntwo\n");
    EXPECT_FALSE(m_records.openStorage(Storage::eAccessRead))
        << "the stream still says that it could not be opened";
    EXPECT_EQ(m_records.m_shutdowns, 0) << "it never was";
    EXPECT_EQ(retrieve(), 3);
    EXPECT_EQ(m_records.m_shutdowns, 1);
    EXPECT_STREQ(m_buffer, "one");
}

TEST_F(Records, thatCouldNotBeOpenedAreClearedAtOnceWhenTheyCan)
{
    EXPECT_EQ(retrieve(), 0);
    m_directory.file("records", "old\n");
    EXPECT_EQ(m_records.clear(), 1);
    EXPECT_EQ(contentOf(m_file), "");
}

TEST_F(Records, thatCannotBeClearedAreNotAppendedToLater)
{
    const std::string later = m_directory.path("sub/records");
    m_records.init(later.c_str(), FOR_READING, APPEND);
    EXPECT_EQ(m_records.clear(), 0);
    std::filesystem::create_directory(m_directory.path("sub"));
    m_directory.file("sub/records", "old\n");
    EXPECT_EQ(store("new"), 0) << "the stream still says that it could not be opened";
    EXPECT_EQ(store("new"), 3);
    m_records.shutdown();
    EXPECT_EQ(store("newer"), 5);
    m_records.shutdown();
    EXPECT_EQ(contentOf(later), "newer\n") << "emptied on every opening";
}

TEST_F(Records, failWithoutNameDataOrBuffer)
{
    EXPECT_EQ(m_records.store("key", nullptr, 3), 0);
    EXPECT_EQ(m_records.writeBinary(nullptr, 3), 0);
    EXPECT_EQ(store("abc"), 3);
    EXPECT_EQ(m_records.retrieve("key", nullptr), 0);
    EXPECT_EQ(m_records.readBinary(nullptr, 3), 0);
    Storage unnamed;
    EXPECT_FALSE(unnamed.openStorage(Storage::eAccessRead));
    EXPECT_EQ(unnamed.clear(), 0);
}

TEST_F(Records, ofNegativeLengthAreRefused)
{
    char data[] = "abc";
    EXPECT_EQ(m_records.store("key", data, -1), 0);
    m_records.shutdown();
    EXPECT_EQ(contentOf(m_file), "");
}

TEST_F(Records, mayBeRawBytesOfAFixedLength)
{
    const std::string bytes("\n\0x", 3);
    EXPECT_EQ(writeBinary(bytes), 3);
    EXPECT_EQ(writeBinary("y"), 1);
    EXPECT_EQ(readBinary(3), bytes);
    EXPECT_EQ(contentOf(m_file), bytes + "y") << "nothing but the bytes";
    EXPECT_EQ(readBinary(1), "y");
    EXPECT_EQ(readBinary(1), "") << "the end";
    EXPECT_EQ(readBinary(5), "") << "a short read is a failure";
    EXPECT_EQ(readBinary(4), bytes + "y") << "after a failure reading starts again";
}

TEST_F(Records, ofAMissingFileCannotBeReadAsBytes)
{
    EXPECT_EQ(readBinary(1), "");
    EXPECT_FALSE(support::exists(m_file));
}

TEST_F(Records, inAMissingDirectoryCannotBeWritten)
{
    m_records.init("/nonexistent/directory/file", FOR_READING, APPEND);
    EXPECT_FALSE(m_records.openStorage(Storage::eAccessWrite));
    EXPECT_EQ(store("x"), 0);
    EXPECT_EQ(writeBinary("x"), 0);
}

TEST_F(RecordsOnAFullDisk, areLostWithoutAWordWhileTheyAreBuffered)
{
    const auto before = openDescriptors();
    EXPECT_EQ(store("small"), 5);
    m_records.shutdown();
    EXPECT_EQ(writeBinary("small"), 5);
    m_records.shutdown();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RecordsOnAFullDisk, failOnceTheyReachIt)
{
    EXPECT_EQ(store(std::string(100000, 'x')), 0);
    EXPECT_EQ(store("small"), 5) << "on a new stream";
    EXPECT_EQ(m_records.m_shutdowns, 1);
    EXPECT_EQ(writeBinary(std::string(100000, 'x')), 0);
    EXPECT_EQ(m_records.clear(), 1) << "there is nothing to write";
}
