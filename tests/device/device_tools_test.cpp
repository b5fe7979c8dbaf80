// The device's own tar and top, with their options in the order in which the layer gives them.
#include <gpal/MemoryInformation.h>
#include <gpal/Storage.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "device/booted.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::Captured;
using support::contentOf;
using support::exists;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

/// A directory with two files and a link in it, which is the current one.
class DevicesTar : public devicetest::OnTheDevice
{
protected:
    void prepare() override
    {
        std::filesystem::create_directory(m_in);
        std::filesystem::create_directory(m_out);
        m_directory.file("in/x", "text of x\n");
        m_directory.file("in/y", std::string(100000, 'y'));
        std::filesystem::create_symlink("x", m_in + "/link");
        std::filesystem::current_path(m_in);
    }
    void restore() override
    {
        std::filesystem::current_path("/");
        for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
            EXPECT_THAT(entry.path().string(), Not(HasSubstr("listOfTarFiles"))) << "was left";
        }
    }

    /// What is unpacked into a directory, or how that fails.
    std::string unpacked() const
    {
        const Captured output(1);
        return Storage::unpackandunzip(m_archive, m_out) ? output.text() : "failed";
    }

    support::LogLine failedWith(int exitCode) const
    {
        return {LOG_ERR, "packInternal: system: Failed with exit code: " +
                             std::to_string(W_EXITCODE(exitCode, 0))};
    }

    support::TemporaryDirectory m_directory;
    const std::string m_in = m_directory.path("in");
    const std::string m_out = m_directory.path("out");
    const std::string m_archive = m_directory.path("archive");
    support::RecordedLog m_log;
};

using DevicesTop = devicetest::OnTheDevice;

} // namespace

TEST_F(DevicesTar, packsFilesOfOneDirectoryAndUnpacksThemIntoAnother)
{
    EXPECT_TRUE(Storage::packRelativeFiles(m_archive, {m_in + "/x", m_in + "/y"}));
    EXPECT_EQ(contentOf(m_archive).substr(0, 2), "\x1f\x8b") << "compressed";
    EXPECT_EQ(unpacked(), "x\ny\n") << "and listed on standard output";
    EXPECT_EQ(contentOf(m_out + "/x"), contentOf(m_in + "/x"));
    EXPECT_EQ(contentOf(m_out + "/y"), contentOf(m_in + "/y"));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DevicesTar, unpacksIntoTheCurrentDirectoryOrTheRoot)
{
    EXPECT_TRUE(Storage::pack(m_archive, true, {"x", m_in + "/y"}, true, false));
    std::filesystem::remove(m_in + "/y");
    std::filesystem::current_path(m_out);
    EXPECT_TRUE(Storage::unpack(m_archive, false));
    EXPECT_EQ(contentOf(m_out + "/x"), "text of x\n");
    EXPECT_TRUE(exists(m_out + m_in + "/y")) << "without the leading slash";
    EXPECT_TRUE(Storage::unpack(m_archive, true));
    EXPECT_EQ(contentOf(m_in + "/y"), std::string(100000, 'y'));
    EXPECT_EQ(contentOf("/x"), "text of x\n");
    std::filesystem::remove("/x");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DevicesTar, packsWithoutCompressionWhatTheUnpackersThenRefuse)
{
    const Captured errors(2);
    EXPECT_TRUE(Storage::pack(m_archive, false, {"y"}, false, false));
    EXPECT_GT(std::filesystem::file_size(m_archive), 100000U);
    EXPECT_THAT(contentOf(m_archive), testing::StartsWith(std::string("y\0", 2)));
    EXPECT_FALSE(Storage::unpack(m_archive, false));
    EXPECT_EQ(unpacked(), "failed");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DevicesTar, packsLinksAsLinksOrLeavesThemOut)
{
    EXPECT_TRUE(Storage::pack(m_archive, false, {"link", "x"}, true, false));
    EXPECT_EQ(unpacked(), "link\nx\n");
    EXPECT_EQ(std::filesystem::read_symlink(m_out + "/link"), "x");
    EXPECT_TRUE(Storage::pack(m_archive, false, {"link", "missing", "x"}, true, true));
    EXPECT_EQ(unpacked(), "x\n");
}

TEST_F(DevicesTar, refusesToMakeAnEmptyArchive)
{
    EXPECT_FALSE(Storage::pack(m_archive, true, {}, true, false));
    EXPECT_FALSE(Storage::packRelativeFiles(m_archive, {}));
    EXPECT_THAT(m_log.lines(), ElementsAre(failedWith(1), failedWith(1)));
}

TEST_F(DevicesTar, failsForAFileThatIsNotWhereTheFirstIs)
{
    const Captured errors(2);
    const std::string elsewhere = m_directory.file("elsewhere", "");
    EXPECT_FALSE(Storage::packRelativeFiles(m_archive, {m_in + "/x", elsewhere}));
    EXPECT_THAT(m_log.lines(), ElementsAre(failedWith(1)));
    EXPECT_EQ(errors.text(), "") << "what tar says is not shown";
}

TEST_F(DevicesTar, unpacksNothingThatIsNoArchive)
{
    const Captured errors(2);
    m_directory.file("archive", "no archive");
    EXPECT_FALSE(Storage::unpack(m_archive, false));
    EXPECT_EQ(unpacked(), "failed");
    EXPECT_THAT(errors.text(), HasSubstr("tar: ")) << "what tar says is shown";
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(DevicesTop, thatRefusesAnOptionSaysSoInTheFileAndInNoOtherPlace)
{
    const support::TemporaryDirectory directory;
    const std::string report = directory.path("report");
    const support::RecordedLog log;
    const Captured output(1);
    const Captured errors(2);
    EXPECT_TRUE(MemoryInformation().getAllMemoryInfo(report));
    EXPECT_EQ(std::system("echo written later"), 0);
    EXPECT_THAT(contentOf(report),
                testing::AllOf(testing::StartsWith("top: "), HasSubstr("Usage: top "),
                               testing::EndsWith("\nwritten later\n")));
    EXPECT_EQ(output.text() + errors.text(), "");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DevicesTop, andTheLayerAgreeOnTheMemoryThatThereIs)
{
    const support::TemporaryDirectory directory;
    const std::string report = directory.path("report");
    ASSERT_EQ(std::system(("free -k | awk '/^Mem:/ { print $2 }' > " + report).c_str()), 0);
    EXPECT_EQ(contentOf(report), std::to_string(MemoryInformation().getTotalMemory()) + "\n");
}
