#include <gpal/FileHandle.h>

#include <gmock/gmock.h>
#include <memory>
#include <syslog.h>
#include <type_traits>
#include <unistd.h>

#include "support/descriptors.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::LogLine;
using support::openDescriptors;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr auto READ = std::ios_base::in | std::ios_base::binary;
constexpr auto WRITE = std::ios_base::out | std::ios_base::binary;

class OpenFile : public testing::Test
{
protected:
    LogLine notOpened(const std::string& path) const
    {
        return {LOG_ERR, "file \"" + path + "\" couldn't be opened\n"};
    }

    support::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.file("file", "a b");
    support::RecordedLog m_log;
};

} // namespace

static_assert(std::is_base_of<std::fstream, FileHandle>::value,
              "clients pass handles where streams are expected");

TEST_F(OpenFile, isAStreamInTheModeGiven)
{
    FileHandle file(m_file, READ);
    std::iostream& stream = file;
    EXPECT_TRUE(file.isOpen());
    std::string word;
    stream >> word;
    EXPECT_EQ(word, "a");
    stream << "x";
    EXPECT_TRUE(stream.bad()) << "not open for writing";
    EXPECT_THAT(m_log.lines(), ElementsAre()) << "before it is asked again";
}

TEST_F(OpenFile, isAppendedToOrTruncatedAsTheModeSays)
{
    FileHandle(m_file, WRITE | std::ios_base::app) << "c";
    EXPECT_EQ(support::contentOf(m_file), "a bc");
    {
        const FileHandle truncating(m_file, WRITE);
    }
    EXPECT_EQ(support::contentOf(m_file), "");
    FileHandle both(m_directory.file("both", "12"), READ | WRITE);
    EXPECT_EQ(both.get(), '1');
    both.seekp(0);
    both << "x";
    both.close();
    EXPECT_EQ(support::contentOf(m_directory.path("both")), "x2");
}

TEST_F(OpenFile, thatIsMissingIsLoggedEveryTimeItIsAskedAndNotBefore)
{
    const std::string missing = m_directory.path("missing");
    FileHandle file(missing, READ);
    EXPECT_TRUE(file.fail());
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_FALSE(file.isOpen());
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(missing)));
    EXPECT_FALSE(file.isOpen());
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(missing), notOpened(missing)));
    file.clear();
    EXPECT_FALSE(file.isOpen()) << "good, but not open";
}

TEST_F(OpenFile, thatIsMissingThrowsNothing)
{
    EXPECT_NO_THROW(FileHandle(m_directory.path("missing"), READ));
    EXPECT_NO_THROW(FileHandle("", READ));
    EXPECT_NO_THROW(FileHandle(m_file, std::ios_base::openmode{}));
}

TEST_F(OpenFile, countsAsNotOpenOnceReadingFailed)
{
    FileHandle file(m_file, READ);
    std::string all;
    std::getline(file, all);
    EXPECT_TRUE(file.eof());
    EXPECT_TRUE(file.isOpen()) << "the end alone is no failure";
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_EQ(file.get(), EOF);
    EXPECT_FALSE(file.isOpen());
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_file)));
    file.clear();
    EXPECT_TRUE(file.isOpen());
}

TEST_F(OpenFile, countsAsNotOpenOnceItIsBad)
{
    FileHandle file(m_file, READ);
    file.setstate(std::ios_base::badbit);
    EXPECT_FALSE(file.isOpen());
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_file)));
}

TEST_F(OpenFile, isNotOpenAfterItsClosing)
{
    FileHandle file(m_file, READ);
    file.close();
    EXPECT_FALSE(file.isOpen());
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened(m_file)));
}

TEST_F(OpenFile, keepsACopyOfItsPath)
{
    std::string path = m_directory.path("missing");
    FileHandle file(path, READ);
    const LogLine expected = notOpened(path);
    path = "changed";
    EXPECT_FALSE(file.isOpen());
    EXPECT_THAT(m_log.lines(), ElementsAre(expected));
}

TEST_F(OpenFile, withPercentSignsIsLoggedAsItIsNamed)
{
    FileHandle file("/%s%d/%n", READ);
    EXPECT_FALSE(file.isOpen());
    EXPECT_THAT(m_log.lines(), ElementsAre(notOpened("/%s%d/%n")));
}

TEST_F(OpenFile, isClosedThroughWhicheverBaseItIsDestroyed)
{
    const auto before = openDescriptors();
    const auto opened = [this] {
        auto file = std::make_unique<FileHandle>(m_file, WRITE);
        *file << "last words";
        EXPECT_TRUE(file->isOpen());
        return file;
    };
    const auto isWritten = [&] {
        EXPECT_EQ(support::contentOf(m_file), "last words");
        EXPECT_EQ(openDescriptors(), before);
    };
    std::unique_ptr<std::fstream>(opened()).reset();
    isWritten();
    std::unique_ptr<std::iostream>(opened()).reset();
    isWritten();
    std::unique_ptr<std::ostream>(opened()).reset();
    isWritten();
    std::unique_ptr<std::istream>(opened()).reset();
    isWritten();
    std::unique_ptr<std::ios>(opened()).reset();
    isWritten();
}

TEST_F(OpenFile, losesWhatItCannotWriteWithoutAWord)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full here";
    }
    const auto before = openDescriptors();
    EXPECT_NO_THROW(FileHandle("/dev/full", WRITE) << "lost");
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(OpenFile, goesInPeaceWhenItsStreamIsToThrow)
{
    FileHandle closed(m_file, WRITE);
    closed.exceptions(std::ios_base::failbit);
    closed.close();
    if (access("/dev/full", W_OK) == 0) {
        FileHandle full("/dev/full", WRITE);
        full.exceptions(std::ios_base::failbit);
        full << "lost";
    }
}

TEST_F(OpenFile, dropsWhatIsPendingOnceAWriteHasFailed)
{
    {
        FileHandle file(m_file, WRITE);
        file << "pending";
        file.setstate(std::ios_base::badbit);
    }
    EXPECT_EQ(support::contentOf(m_file), "");
}
