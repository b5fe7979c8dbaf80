#include <gpal/BinaryStorage.h>

#include <gtest/gtest.h>

#include "support/observed.h"
#include "support/temporary_directory.h"

namespace
{

class BinaryFile : public testing::Test
{
protected:
    support::TemporaryDirectory m_directory;
    std::string m_file = m_directory.path("bytes");
    std::string m_missing = m_directory.path("missing/bytes");
    char m_data[5] = "abcd";
    char m_buffer[16] = {};
    BinaryStorage m_storage;
};

} // namespace

TEST_F(BinaryFile, isAppendedToAndReadFromTheStart)
{
    EXPECT_EQ(m_storage.store(m_file.data(), m_data, 4U), 4);
    EXPECT_EQ(m_storage.store(m_file.data(), m_data, 4U), 4);
    EXPECT_EQ(support::contentOf(m_file), "abcdabcd");
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 6U), 6);
    EXPECT_EQ(std::string(m_buffer), "abcdab");
}

TEST_F(BinaryFile, thatCannotBeOpenedIsReportedOnTheConsole)
{
    const support::Captured console(1);
    EXPECT_EQ(m_storage.store(m_missing.data(), m_data, 4U), 0);
    EXPECT_EQ(m_storage.retrieve(m_missing.data(), m_buffer, 4U), 0);
    EXPECT_EQ(m_storage.clear(m_missing.data()), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot open file for writing\n"
                              "BinaryStorage:: cannot open file for reading\n"
                              "BinaryStorage:: cannot remove file " +
                                  m_missing + ", error :" + std::to_string(ENOENT) + "\n");
}

TEST_F(BinaryFile, thatIsEmptyIsReportedAsUnreadable)
{
    m_directory.file("bytes", "");
    const support::Captured console(1);
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 4U), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot read from file " + m_file + "\n");
}

TEST_F(BinaryFile, isEmptied)
{
    m_directory.file("bytes", "old");
    EXPECT_EQ(m_storage.clear(m_file.data()), 1);
    EXPECT_EQ(support::contentOf(m_file), "");
}

TEST_F(BinaryFile, leavesTheRecordFunctionsAsTheyAre)
{
    Storage& records = m_storage;
    records.init(m_file.c_str(), std::ios_base::in, std::ios_base::out);
    EXPECT_EQ(records.store("key", m_data, 2), 2);
    EXPECT_EQ(records.retrieve("key", m_buffer), 2);
    EXPECT_EQ(records.clear(), 1);
}
