// The serial console's table when it can't be read or written to its end.
#include <gpal/SerialPortConfiguration.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <new>

#include "process/console_table.h"
#include "support/descriptors.h"
#include "support/full_pipe.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"

using support::contentOf;
using support::PlainThread;
using support::Replaceable;
using support::Replacement;

namespace
{

// By this one the C++ library's file streams read.
Replaceable<ssize_t(int, void*, std::size_t)> readCall("read");

} // namespace

extern "C" ssize_t read(int descriptor, void* buffer, std::size_t size)
{
    return readCall(descriptor, buffer, size);
}

namespace
{

class TornTable : public ConsoleTable
{
protected:
    static void setMode()
    {
        SerialPortConfiguration::setSerialPortMode(SerialPortConfiguration::NON_INTERACTIVE);
    }

    /// Sets a mode, which ends, and returns what is said on standard error.
    static std::string complaintOfSetting()
    {
        const support::Captured errors(STDERR_FILENO);
        PlainThread setting(setMode);
        EXPECT_FALSE(setting.wasCancelled());
        return errors.text();
    }

    static std::string complaint(int reason)
    {
        return std::string("Error reading file: : ") + std::strerror(reason) + "\n";
    }
};

/// A table of more than one read, the second of which is \p failing.
template <typename Failing>
class TableReadInPart
{
public:
    explicit TableReadInPart(Failing failing) : m_failing(failing)
    {
        std::ofstream(TABLE) << m_content;
    }

    const std::string& content() const { return m_content; }

private:
    const std::string m_content = std::string(500, '\n') + std::string(100000, 'x') + "\n";
    Failing m_failing;
    int m_reads = 0;
    Replacement<ssize_t(int, void*, std::size_t)> m_read{
        readCall, [this](int descriptor, void* buffer, std::size_t size) {
            const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
            std::error_code gone;
            const bool isTable = std::filesystem::read_symlink(link, gone) == TABLE;
            return isTable && ++m_reads == 2 ? m_failing()
                                             : readCall.original(descriptor, buffer, size);
        }};
};

} // namespace

TEST_F(TornTable, isNotMadeOfWhatCannotBeRead)
{
    std::filesystem::create_directory(TABLE);
    EXPECT_EQ(complaintOfSetting(), complaint(EISDIR));
    EXPECT_TRUE(std::filesystem::is_directory(TABLE));
    EXPECT_FALSE(support::exists(NEW_TABLE));
    EXPECT_EQ(m_commands.commands().size(), 5U) << "run as ever";
}

TEST_F(TornTable, doesNotReplaceTheGoodOneWhenReadingFailsInTheMiddle)
{
    const TableReadInPart table([] {
        errno = EIO;
        return ssize_t{-1};
    });
    EXPECT_EQ(complaintOfSetting(), complaint(EIO));
    EXPECT_EQ(contentOf(TABLE), table.content());
    EXPECT_FALSE(support::exists(NEW_TABLE));
    EXPECT_EQ(m_commands.commands().size(), 5U);
}

TEST_F(TornTable, doesNotReplaceTheGoodOneWhenMemoryIsShort)
{
    const TableReadInPart table([]() -> ssize_t {
        errno = ENOMEM;
        throw std::bad_alloc(); // which a stream takes for an error of reading
    });
    EXPECT_EQ(complaintOfSetting(), complaint(ENOMEM));
    EXPECT_EQ(contentOf(TABLE), table.content());
    EXPECT_FALSE(support::exists(NEW_TABLE));
}

TEST_F(TornTable, isRemovedFirstWhenItsWriterIsCancelled)
{
    const TableReadInPart table([] {
        pthread_cancel(pthread_self());
        errno = EIO;
        return ssize_t{-1};
    });
    const support::Captured quiet(STDERR_FILENO);
    EXPECT_TRUE(support::leavesStandardErrorUnlocked(setMode));
    EXPECT_FALSE(support::exists(NEW_TABLE));
}

TEST_F(TornTable, doesNotReplaceTheGoodOneWhenItsWriterIsCancelled)
{
    const auto before = support::openDescriptors();
    std::ofstream(TABLE) << "a\n";
    {
        const support::FullPipe pipe(NEW_TABLE);
        PlainThread setting(setMode);
        setting.cancelOnceItBlocks();
        EXPECT_TRUE(setting.wasCancelled());
        EXPECT_TRUE(pipe.gotNothing());
    }
    EXPECT_EQ(contentOf(TABLE), "a\n");
    EXPECT_EQ(support::openDescriptors(), before);
    EXPECT_TRUE(m_commands.commands().empty());
    std::filesystem::remove(NEW_TABLE);
    setMode();
    EXPECT_EQ(contentOf(TABLE), "a\n\n") << "usable by all others";
}

TEST_F(TornTable, canBeCancelledWhereTheTableIsMissingAndTheDiskIsFull)
{
    const std::string hog = "/etc/hog";
    std::ofstream(hog) << std::string(1 << 20, 'x');
    PlainThread setting(setMode);
    EXPECT_TRUE(support::eventually([] { return support::exists(NEW_TABLE); }));
    setting.cancel();
    EXPECT_TRUE(setting.wasCancelled());
}
