#include <gpal/BinaryStorage.h>

#include <cerrno>
#include <gmock/gmock.h>
#include <unistd.h>
#include <vector>

#include "support/descriptors.h"
#include "support/file_calls.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

namespace calls = support::calls;

using support::contentOf;
using support::openDescriptors;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class BinaryFile : public testing::Test
{
protected:
    int store(std::string bytes)
    {
        return m_storage.store(m_file.data(), bytes.data(),
                               static_cast<unsigned int>(bytes.size()));
    }

    support::TemporaryDirectory m_directory;
    std::string m_file = m_directory.path("bytes");
    std::string m_missing = m_directory.path("missing/bytes");
    std::string m_folder = m_directory.path();
    char m_buffer[16] = {};
    BinaryStorage m_storage;
    support::RecordedLog m_log;
    const decltype(openDescriptors()) m_descriptors = openDescriptors();
};

} // namespace

TEST_F(BinaryFile, isAppendedToAndReadFromTheStart)
{
    EXPECT_EQ(store("abcd"), 4);
    EXPECT_EQ(store(std::string("\0\n\xFF.", 4)), 4);
    EXPECT_EQ(contentOf(m_file), std::string("abcd\0\n\xFF.", 8)) << "written when it returns";
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 6U), 6);
    EXPECT_EQ(std::string(m_buffer, 6), std::string("abcd\0\n", 6));
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 2U), 2) << "from the start every time";
    EXPECT_EQ(std::string(m_buffer, 2), "ab");
    EXPECT_EQ(openDescriptors(), m_descriptors);
}

TEST_F(BinaryFile, givesWhatItHasWithoutATerminator)
{
    m_directory.file("bytes", "abc");
    std::fill(std::begin(m_buffer), std::end(m_buffer), '#');
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, sizeof m_buffer), 3);
    EXPECT_EQ(std::string(m_buffer, sizeof m_buffer), "abc#############");
}

TEST_F(BinaryFile, isOpenedForAppendingReadingOrEmptying)
{
    m_directory.file("bytes", "old");
    std::vector<std::string> modes;
    const Replacement recorded(calls::fopen, [&](const char* path, const char* mode) {
        modes.emplace_back(mode);
        return calls::fopen.original(path, mode);
    });
    EXPECT_EQ(store("a"), 1);
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 1U), 1);
    EXPECT_EQ(m_storage.clear(m_file.data()), 1);
    EXPECT_THAT(modes, ElementsAre("ab+", "rb+", "w"));
}

TEST_F(BinaryFile, thatCannotBeOpenedIsReportedOnTheConsole)
{
    for (std::string* path : {&m_missing, &m_folder}) {
        const int reason = path == &m_folder ? EISDIR : ENOENT;
        const support::Captured console(1);
        const support::Captured errors(2);
        EXPECT_EQ(m_storage.store(path->data(), m_buffer, 4U), 0);
        EXPECT_EQ(m_storage.retrieve(path->data(), m_buffer, 4U), 0);
        EXPECT_EQ(m_storage.clear(path->data()), 0);
        EXPECT_EQ(console.text(), "BinaryStorage:: cannot open file for writing\n"
                                  "BinaryStorage:: cannot open file for reading\n"
                                  "BinaryStorage:: cannot remove file " +
                                      *path + ", error :" + std::to_string(reason) + "\n");
        EXPECT_EQ(errors.text(), "");
    }
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_EQ(openDescriptors(), m_descriptors);
}

TEST_F(BinaryFile, thatCannotBeOpenedIsReportedAsAWholeLine)
{
    std::vector<std::string> lines;
    const Replacement recorded(calls::puts, [&](const char* line) {
        lines.emplace_back(line);
        return 0;
    });
    EXPECT_EQ(m_storage.store(m_missing.data(), m_buffer, 4U), 0);
    EXPECT_EQ(m_storage.retrieve(m_missing.data(), m_buffer, 4U), 0);
    EXPECT_THAT(lines, ElementsAre("BinaryStorage:: cannot open file for writing",
                                   "BinaryStorage:: cannot open file for reading"));
}

TEST_F(BinaryFile, thatIsMissingIsNotMadeByReading)
{
    const support::Captured console(1);
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 4U), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot open file for reading\n");
    EXPECT_FALSE(support::exists(m_file));
}

TEST_F(BinaryFile, thatIsEmptyIsReportedAsUnreadable)
{
    m_directory.file("bytes", "");
    const support::Captured console(1);
    const auto before = openDescriptors();
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 4U), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot read from file " + m_file + "\n");
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(BinaryFile, thatCannotBeReadIsReported)
{
    m_directory.file("bytes", "abc");
    const support::Captured console(1);
    const Replacement failing(calls::fread,
                              [](void*, std::size_t, std::size_t, FILE*) { return 0U; });
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 4U), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot read from file " + m_file + "\n");
}

TEST_F(BinaryFile, thatCannotBeWrittenIsReported)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    m_file = "/dev/full";
    const support::Captured console(1);
    const auto before = openDescriptors();
    EXPECT_EQ(store(std::string(100000, 'x')), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot write into file /dev/full\n");
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(BinaryFile, thatTakesOnlyAPartIsReported)
{
    const support::Captured console(1);
    const Replacement partial(
        calls::fwrite, [](const void* data, std::size_t size, std::size_t count, FILE* file) {
            return calls::fwrite.original(data, size, count - 1, file);
        });
    EXPECT_EQ(store("abcd"), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot write into file " + m_file + "\n");
    EXPECT_EQ(contentOf(m_file), "abc") << "what was written stays";
}

TEST_F(BinaryFile, isWrittenAndReadByteByByteInOneCall)
{
    std::vector<std::size_t> requests;
    const Replacement writing(
        calls::fwrite, [&](const void* data, std::size_t size, std::size_t count, FILE* file) {
            requests.insert(requests.end(), {size, count});
            return calls::fwrite.original(data, size, count, file);
        });
    const Replacement reading(calls::fread,
                              [&](void* data, std::size_t size, std::size_t count, FILE* file) {
                                  requests.insert(requests.end(), {size, count});
                                  return calls::fread.original(data, size, count, file);
                              });
    EXPECT_EQ(store("abc"), 3);
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 5U), 3);
    EXPECT_THAT(requests, ElementsAre(1, 3, 1, 5));
}

TEST_F(BinaryFile, losesWhatOnlyTheClosingWouldHaveWritten)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    m_file = "/dev/full";
    const support::Captured console(1);
    EXPECT_EQ(store("few"), 3) << "the result of the closing is not looked at";
    EXPECT_EQ(console.text(), "");
}

TEST_F(BinaryFile, isEmptiedOrMade)
{
    const support::Captured console(1);
    m_directory.file("bytes", "old");
    EXPECT_EQ(m_storage.clear(m_file.data()), 1);
    EXPECT_EQ(contentOf(m_file), "");
    EXPECT_TRUE(support::exists(m_file)) << "never removed";
    std::string other = m_directory.path("new");
    EXPECT_EQ(m_storage.clear(other.data()), 1);
    EXPECT_TRUE(support::exists(other));
    EXPECT_EQ(console.text(), "");
}

TEST_F(BinaryFile, whoseClosingFailsIsNotCleared)
{
    const support::Captured console(1);
    const Replacement failing(calls::fclose, [](FILE* file) {
        calls::fclose.original(file);
        errno = EIO;
        return EOF;
    });
    EXPECT_EQ(m_storage.clear(m_file.data()), 0);
    EXPECT_EQ(console.text(), "BinaryStorage:: cannot remove file " + m_file +
                                  ", error :" + std::to_string(EIO) + "\n");
}

TEST_F(BinaryFile, failsWithoutNameDataOrBuffer)
{
    const support::Captured console(1);
    const auto before = openDescriptors();
    EXPECT_EQ(m_storage.store(nullptr, m_buffer, 1U), 0);
    EXPECT_EQ(m_storage.retrieve(nullptr, m_buffer, 1U), 0);
    EXPECT_EQ(m_storage.clear(nullptr), 0);
    EXPECT_EQ(m_storage.store(m_file.data(), nullptr, 1U), 0);
    m_directory.file("bytes", "abc");
    EXPECT_EQ(m_storage.retrieve(m_file.data(), nullptr, 1U), 0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(BinaryFile, leavesTheRecordFunctionsAsTheyAre)
{
    const std::string records = m_directory.path("records");
    StorageInterface& interface = m_storage;
    char data[] = "ab";
    interface.init(records.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    EXPECT_EQ(interface.store("key", data, 2), 2);
    EXPECT_EQ(interface.retrieve("key", m_buffer), 2);
    EXPECT_STREQ(m_buffer, "ab");
    EXPECT_EQ(contentOf(records), "ab\n") << "with the line feed of a record";
    EXPECT_FALSE(support::exists("key")) << "the key is no path";
    EXPECT_EQ(interface.clear(), 1);
    EXPECT_EQ(contentOf(records), "");
}

TEST_F(BinaryFile, doesNotUseTheObjectsOwnStream)
{
    m_directory.file("records", "one\ntwo\n");
    const std::string records = m_directory.path("records");
    Storage& stream = m_storage;
    stream.init(records.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    EXPECT_EQ(stream.retrieve("key", m_buffer), 3);
    EXPECT_EQ(store("abc"), 3);
    EXPECT_EQ(m_storage.retrieve(m_file.data(), m_buffer, 3U), 3);
    EXPECT_EQ(m_storage.clear(m_file.data()), 1);
    EXPECT_EQ(stream.retrieve("key", m_buffer), 3) << "goes on with the second record";
    EXPECT_STREQ(m_buffer, "two");
}
