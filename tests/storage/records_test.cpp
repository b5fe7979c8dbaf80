#include <gpal/Storage.h>

#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace
{

constexpr auto READ = std::ios_base::in | std::ios_base::binary;
constexpr auto APPEND = std::ios_base::out | std::ios_base::app | std::ios_base::binary;

class Records : public testing::Test
{
protected:
    Records() { m_records.init(m_file.c_str(), READ, APPEND); }

    int store(std::string record)
    {
        return m_records.store("key", record.data(), static_cast<int>(record.size()));
    }

    support::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.path("records");
    Storage m_records;
    char m_buffer[1024] = {};
};

} // namespace

TEST_F(Records, areLinesThatReadBackInOrderAndThenFromTheStart)
{
    EXPECT_EQ(store("a"), 1);
    EXPECT_EQ(store("bc"), 2);
    EXPECT_EQ(store(""), 0);
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 1);
    EXPECT_EQ(support::contentOf(m_file), "a\nbc\n\n");
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 2);
    EXPECT_STREQ(m_buffer, "bc");
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 0);
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 0);
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 1);
    EXPECT_STREQ(m_buffer, "a");
}

TEST_F(Records, ofMoreThanTheBufferHoldsAreRefused)
{
    store(std::string(2000, 'x'));
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 0);
    m_records.clear();
    store(std::string(1023, 'x'));
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 1023);
}

TEST_F(Records, withoutALineFeedAtTheEndAreReadToo)
{
    m_directory.file("records", "one\ntwo");
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 3);
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 3);
    EXPECT_STREQ(m_buffer, "two");
    EXPECT_EQ(m_records.retrieve("key", m_buffer), 0);
}

TEST_F(Records, afterReadingAreWrittenAsTheWriteModeSays)
{
    store("old");
    m_records.retrieve("key", m_buffer);
    m_records.init(m_file.c_str(), READ, std::ios_base::out | std::ios_base::trunc);
    store("new");
    m_records.shutdown();
    EXPECT_EQ(support::contentOf(m_file), "new\n");
}

TEST_F(Records, areClearedAndAppendedToAgain)
{
    store("old");
    EXPECT_EQ(m_records.clear(), 1);
    EXPECT_EQ(support::contentOf(m_file), "");
    store("one");
    m_records.shutdown();
    store("two");
    m_records.shutdown();
    EXPECT_EQ(support::contentOf(m_file), "one\ntwo\n");
}

TEST_F(Records, thatCannotBeClearedAreNotAppendedToLater)
{
    const std::string later = m_directory.path("sub/records");
    m_records.init(later.c_str(), READ, APPEND);
    EXPECT_EQ(m_records.clear(), 0);
    std::filesystem::create_directory(m_directory.path("sub"));
    m_directory.file("sub/records", "old\n");
    EXPECT_EQ(store("new"), 0) << "the stream still says that it could not be opened";
    EXPECT_EQ(store("new"), 3);
    m_records.shutdown();
    EXPECT_EQ(support::contentOf(later), "new\n");
}

TEST_F(Records, mayBeRawBytesOfAFixedLength)
{
    char bytes[] = {'\n', '\0', 'x'};
    EXPECT_EQ(m_records.writeBinary(bytes, 3), 3);
    EXPECT_EQ(m_records.readBinary(m_buffer, 3), 3);
    EXPECT_EQ(std::string(m_buffer, 3), std::string(bytes, 3));
    EXPECT_EQ(m_records.readBinary(m_buffer, 1), 0) << "a short read is a failure";
}

TEST_F(Records, haveConstantsForAnswers)
{
    EXPECT_TRUE(m_records.storageExists());
    EXPECT_EQ(m_records.storageType(), 1);
    EXPECT_EQ(m_records.findTag(nullptr), 1);
}
