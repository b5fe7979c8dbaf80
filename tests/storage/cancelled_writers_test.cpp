// Threads that are cancelled while they write, read or close a file: blocked on a full pipe, or in
// a call that cancels its own thread.
#include <gpal/BinaryStorage.h>
#include <gpal/FileHandle.h>
#include <gpal/FileManager.h>

#include <cstring>
#include <gtest/gtest.h>
#include <sys/uio.h>

#include "storage/record_modes.h"
#include "support/descriptors.h"
#include "support/file_calls.h"
#include "support/full_pipe.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"

namespace calls = support::calls;

using support::cancelOneself;
using support::contentOf;
using support::openDescriptors;
using support::PlainThread;
using support::Replaceable;
using support::Replacement;

namespace
{

// By these the C++ library's file streams write.
Replaceable<ssize_t(int, const void*, std::size_t)> writeCall("write");
Replaceable<ssize_t(int, const iovec*, int)> writevCall("writev");

} // namespace

extern "C" {

ssize_t write(int descriptor, const void* data, std::size_t size)
{
    return writeCall(descriptor, data, size);
}

ssize_t writev(int descriptor, const iovec* pieces, int count)
{
    return writevCall(descriptor, pieces, count);
}
}

namespace
{

constexpr auto READ = std::ios_base::in | std::ios_base::binary;

std::string few = "few";
std::string many(200000, 'm');

int length(const std::string& text)
{
    return static_cast<int>(text.size());
}

/// One way to write to a file, with a record file's object to do it by and the folder of a source.
struct Writer {
    const char* name;
    std::function<void(Storage& records, const std::string& path, const std::string& source)> write;
    bool throughTheCLibrary = false; ///< whose own writing can't be replaced
    bool inTheClientsFrame = false;  ///< the file is an object of the client's own

    friend std::ostream& operator<<(std::ostream& out, const Writer& writer)
    {
        return out << writer.name;
    }
};

void storeInOwnObject(Storage& /*records*/, const std::string& path, const std::string& /*source*/)
{
    Storage own;
    own.init(path.c_str(), READ, APPEND);
    own.store("key", few.data(), length(few));
    own.store("key", many.data(), length(many));
}

void writeThroughHandle(Storage& /*records*/, const std::string& path,
                        const std::string& /*source*/)
{
    FileHandle handle(path, std::ios_base::out);
    handle << few << many;
}

const Writer WRITERS[] = {
    {"store", [](Storage& records, const std::string&,
                 const std::string&) { records.store("key", many.data(), length(many)); }},
    {"writeBinary", [](Storage& records, const std::string&,
                       const std::string&) { records.writeBinary(many.data(), length(many)); }},
    {"shutdown",
     [](Storage& records, const std::string&, const std::string&) {
         records.store("key", few.data(), length(few));
         records.shutdown();
     }},
    {"changeOfDirection",
     [](Storage& records, const std::string&, const std::string&) {
         records.store("key", few.data(), length(few));
         records.openStorage(Storage::eAccessRead);
     }},
    {"clear",
     [](Storage& records, const std::string&, const std::string&) {
         records.store("key", few.data(), length(few));
         records.clear();
     }},
    {"ownObject", storeInOwnObject},
    {"simpleCreateFile",
     [](Storage&, const std::string& path, const std::string&) {
         Storage::simpleCreateFile(path.c_str(), few.c_str());
     }},
    {"simpleCreateLargeFile",
     [](Storage&, const std::string& path, const std::string&) {
         Storage::simpleCreateFile(path.c_str(), many.c_str());
     }},
    {"copyFile_noEx", [](Storage&, const std::string& path,
                         const std::string& source) { Storage::copyFile_noEx(source, path); }},
    {"createFile", [](Storage&, const std::string& path,
                      const std::string&) { FileManager().createFile(path, few); }},
    {"createLargeFile", [](Storage&, const std::string& path,
                           const std::string&) { FileManager().createFile(path, many); }},
    {"copyFile", [](Storage&, const std::string& path,
                    const std::string& source) { FileManager().copyFile(source, path); }},
    {"FileHandle", writeThroughHandle, false, true},
    {"storeBinaryFile",
     [](Storage&, const std::string& path, const std::string&) {
         std::string name = path;
         BinaryStorage().store(name.data(), few.data(), static_cast<unsigned int>(few.size()));
     },
     true},
    {"storeLargeBinaryFile",
     [](Storage&, const std::string& path, const std::string&) {
         std::string name = path;
         BinaryStorage().store(name.data(), many.data(), static_cast<unsigned int>(many.size()));
     },
     true},
};

class CancelledWriter : public testing::TestWithParam<Writer>
{
protected:
    void SetUp() override
    {
        if (GetParam().inTheClientsFrame && !support::unwindsWhenCancelled()) {
            GTEST_SKIP() << support::NO_UNWINDING;
        }
    }

    void initRecords(const std::string& path)
    {
        m_path = path;
        m_records.init(m_path.c_str(), READ, APPEND);
    }

    void write() { GetParam().write(m_records, m_path, m_source); }

    void expectNothingOpenAndRecordsUsable(const std::set<std::string>& before)
    {
        EXPECT_EQ(openDescriptors(), before);
        initRecords(m_directory.path("next"));
        EXPECT_EQ(m_records.store("key", few.data(), length(few)), 3);
        m_records.shutdown();
        EXPECT_EQ(contentOf(m_directory.path("next")), "few\n");
    }

    support::TemporaryDirectory m_directory;
    const std::string m_source = m_directory.file("source", "text");
    std::string m_path;
    Storage m_records;
};

INSTANTIATE_TEST_SUITE_P(Each, CancelledWriter, testing::ValuesIn(WRITERS),
                         [](const auto& writer) { return std::string(writer.param.name); });

} // namespace

TEST_P(CancelledWriter, blockedOnAFullPipeUnwindsAndLetsGo)
{
    const support::FullPipe pipe(m_directory.path("pipe"));
    initRecords(pipe.path());
    const auto before = openDescriptors();
    PlainThread thread([this] { write(); });
    thread.cancelOnceItBlocks();
    EXPECT_TRUE(thread.wasCancelled());
    expectNothingOpenAndRecordsUsable(before);
    EXPECT_TRUE(pipe.gotNothing());
}

TEST_P(CancelledWriter, whoseWriteCancelsItUnwindsAndLetsGo)
{
    const Writer& writer = GetParam();
    initRecords(m_directory.path("file"));
    const auto before = openDescriptors();
    {
        const Replacement writing(writeCall,
                                  [](int descriptor, const void* data, std::size_t size) {
                                      cancelOneself();
                                      return writeCall.original(descriptor, data, size);
                                  });
        const Replacement pieces(writevCall, [](int descriptor, const iovec* iov, int count) {
            cancelOneself();
            return writevCall.original(descriptor, iov, count);
        });
        const Replacement flushing(calls::fflush, [](std::FILE* file) {
            cancelOneself();
            return calls::fflush.original(file);
        });
        PlainThread thread([this] { write(); });
        EXPECT_TRUE(thread.wasCancelled());
    }
    if (std::strcmp(writer.name, "storeLargeBinaryFile") != 0) {
        EXPECT_EQ(contentOf(m_directory.path("file")), "");
    }
    expectNothingOpenAndRecordsUsable(before);
}

TEST_P(CancelledWriter, whoseClosingCancelsItClosesAndUnwinds)
{
    initRecords(m_directory.path("file"));
    const auto before = openDescriptors();
    {
        const Replacement closing(calls::fclose, [](std::FILE* file) {
            cancelOneself();
            return calls::fclose.original(file);
        });
        PlainThread thread([this] {
            write();
            m_records.shutdown();
        });
        const bool inTheMiddle = thread.wasCancelled();
        EXPECT_TRUE(inTheMiddle || thread.wasCancelledOnlyAtItsEnd());
    }
    expectNothingOpenAndRecordsUsable(before);
}

namespace
{

/// Runs \p work in a thread that is cancelled by the next call of \p call.
template <typename Call, typename Work>
void expectDoneInSpiteOfCancelling(Call& call, Work work)
{
    const auto before = openDescriptors();
    {
        const Replacement cancelling(call, [&call](auto... arguments) {
            cancelOneself();
            return call.original(arguments...);
        });
        PlainThread thread(work);
        EXPECT_TRUE(thread.wasCancelledOnlyAtItsEnd());
    }
    EXPECT_EQ(openDescriptors(), before);
}

class CancelledReader : public testing::Test
{
protected:
    support::TemporaryDirectory m_directory;
    std::string m_file = m_directory.file("file", "text\n");
    char m_buffer[1024] = {};
};

} // namespace

TEST_F(CancelledReader, closesItsFiles)
{
    expectDoneInSpiteOfCancelling(calls::fclose, [this] {
        EXPECT_EQ(BinaryStorage().retrieve(m_file.data(), m_buffer, sizeof m_buffer), 5);
    });
    expectDoneInSpiteOfCancelling(calls::fclose,
                                  [this] { EXPECT_TRUE(FileManager().isPrefix(m_file, m_file)); });
    expectDoneInSpiteOfCancelling(calls::fclose, [this] {
        EXPECT_FALSE(Storage::copyFile_noEx(m_file, m_directory.path("no/such/folder")));
    });
    expectDoneInSpiteOfCancelling(calls::fclose,
                                  [this] { EXPECT_EQ(BinaryStorage().clear(m_file.data()), 1); });
}

TEST_F(CancelledReader, closesItsDirectories)
{
    std::list<std::string> entries;
    expectDoneInSpiteOfCancelling(calls::closedir, [&] {
        EXPECT_EQ(Storage::getListOfFilesByDirectoryNoPath(m_directory.path(), &entries), 0);
    });
    EXPECT_EQ(entries, std::list<std::string>{"file"});
    expectDoneInSpiteOfCancelling(calls::closedir, [&] {
        EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(m_directory.path(), &entries), 1);
    });
}

TEST_F(CancelledReader, ofAPipeLeavesTheRecordsUsable)
{
    const std::string pipe = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int other = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    Storage records;
    records.init(pipe.c_str(), READ, APPEND);
    PlainThread thread([&] { records.retrieve("key", m_buffer); });
    thread.cancelOnceItBlocks();
    EXPECT_TRUE(thread.wasCancelled());
    ASSERT_EQ(write(other, "line\n", 5), 5);
    EXPECT_EQ(records.retrieve("key", m_buffer), 4);
    close(other);
}

TEST(CancelledClearing, leavesTheWriteModeAsItWas)
{
    const support::TemporaryDirectory directory;
    const std::string pipe = directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    Storage records;
    records.init(pipe.c_str(), READ, APPEND);
    PlainThread thread([&] { records.clear(); });
    thread.cancelOnceItBlocks(); // nobody has opened the pipe for reading
    EXPECT_TRUE(thread.wasCancelled());
    ASSERT_EQ(unlink(pipe.c_str()), 0);
    directory.file("pipe", "old\n");
    EXPECT_EQ(records.store("key", few.data(), length(few)), 3);
    records.shutdown();
    EXPECT_EQ(contentOf(pipe), "old\nfew\n") << "appended to, not emptied";
}
