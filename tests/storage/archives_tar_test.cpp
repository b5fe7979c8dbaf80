#include <gpal/Storage.h>

#include <cstdlib>

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "storage/packing.h"
#include "support/command_output.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

/// Runs a program and returns its standard output; nothing when it fails.
std::string outputOf(const std::string& command)
{
    const support::CommandOutput output = support::runCommand(command + " 2> /dev/null");
    return output.status == 0 ? output.text : "";
}

/// Real programs under the name of `tar`.
class Tar : public testing::Test
{
protected:
    Tar()
    {
        std::filesystem::create_directory(m_directory.path("bin"));
        std::filesystem::create_directory(m_directory.path("in"));
        std::filesystem::create_directory(m_directory.path("out"));
        m_directory.file("in/x", "text of x\n");
        m_directory.file("in/y", std::string(100000, 'y'));
        std::filesystem::create_symlink("x", m_directory.path("in/link"));
    }

    ~Tar() override
    {
        setenv("PATH", m_path.c_str(), 1);
        EXPECT_EQ(chdir("/"), 0);
        EXPECT_FALSE(m_list.isLeft());
        EXPECT_EQ(support::openDescriptors(), m_descriptors);
    }

    /// Lets `tar` be the named program from now on. Returns whether the machine has it.
    bool tarIs(const std::string& program) const
    {
        const std::string found = outputOf("PATH=" + m_path + " command -v " + program);
        if (found.empty()) {
            return false;
        }
        std::filesystem::remove(m_directory.path("bin/tar"));
        std::filesystem::create_symlink(found.substr(0, found.size() - 1),
                                        m_directory.path("bin/tar"));
        setenv("PATH", (m_directory.path("bin") + ":" + m_path).c_str(), 1);
        return true;
    }

    bool tarIsGnuTar() const
    {
        return tarIs("tar") && !outputOf("tar --version | grep GNU").empty();
    }
    bool tarIsBusybox() const { return tarIs("busybox") && !outputOf("tar --help 2>&1").empty(); }

    /// What `tar`, whichever it is now, makes of a packed archive.
    void expectXAndYAreUnpacked() const
    {
        EXPECT_EQ(outputOf("tar -tf " + m_archive), "x\ny\n");
        ASSERT_EQ(chdir(m_out.c_str()), 0);
        EXPECT_TRUE(Storage::unpack(m_archive, false));
        EXPECT_EQ(support::contentOf(m_out + "/x"), support::contentOf(m_in + "/x"));
        EXPECT_EQ(support::contentOf(m_out + "/y"), support::contentOf(m_in + "/y"));
        std::filesystem::remove(m_out + "/x");
        std::filesystem::remove(m_out + "/y");
    }

    const std::set<std::string> m_descriptors = support::openDescriptors();
    const std::string m_path = std::getenv("PATH");
    support::TemporaryDirectory m_directory;
    const std::string m_in = m_directory.path("in");
    const std::string m_out = m_directory.path("out");
    const std::string m_archive = m_directory.path("archive");
    ListFile m_list;
    support::RecordedLog m_log;
};

#define GPAL_NEED(has, what)                                                                       \
    if (!(has)) {                                                                                  \
        GTEST_SKIP() << "no " what;                                                                \
    }                                                                                              \
    static_assert(true)

} // namespace

TEST_F(Tar, packsRelativeFilesThatAnyTarUnpacks)
{
    GPAL_NEED(tarIs("bsdtar"), "bsdtar");
    EXPECT_TRUE(Storage::packRelativeFiles(m_archive, {m_in + "/x", m_in + "/y"}));
    EXPECT_THAT(m_log.lines(), IsEmpty());
    expectXAndYAreUnpacked();
    if (tarIsGnuTar()) {
        expectXAndYAreUnpacked();
    }
    if (tarIsBusybox()) {
        expectXAndYAreUnpacked();
    }
}

TEST_F(Tar, packsFilesThatComeBackFromTheRoot)
{
    GPAL_NEED(tarIs("bsdtar"), "bsdtar");
    for (const char* unpacker : {"bsdtar", "tar", "busybox"}) {
        ASSERT_TRUE(tarIs("bsdtar"));
        const std::string file = m_directory.file("in/deep", "text");
        EXPECT_TRUE(Storage::pack(m_archive, true, {file}, true, true));
        std::filesystem::remove(file);
        if (tarIs(unpacker)) {
            EXPECT_TRUE(Storage::unpack(m_archive, true)) << unpacker;
            EXPECT_EQ(support::contentOf(file), "text") << unpacker;
        }
    }
}

TEST_F(Tar, makesArchivesWithAndWithoutCompression)
{
    GPAL_NEED(tarIs("bsdtar"), "bsdtar");
    EXPECT_TRUE(Storage::pack(m_archive, false, {m_in + "/y"}, true, false));
    EXPECT_EQ(support::contentOf(m_archive).substr(0, 2), "\x1f\x8b");
    EXPECT_LT(std::filesystem::file_size(m_archive), 100000U);
    EXPECT_TRUE(Storage::pack(m_archive, false, {m_in + "/y"}, false, false));
    EXPECT_GT(std::filesystem::file_size(m_archive), 100000U);
    EXPECT_THAT(outputOf("tar -tf " + m_archive), HasSubstr(m_in.substr(1) + "/y"));
}

TEST_F(Tar, packsLinksAsLinksOrLeavesThemOut)
{
    GPAL_NEED(tarIs("bsdtar"), "bsdtar");
    ASSERT_EQ(chdir(m_in.c_str()), 0);
    EXPECT_TRUE(Storage::pack(m_archive, false, {"link", "x"}, true, false));
    EXPECT_EQ(outputOf("tar -tf " + m_archive), "link\nx\n");
    ASSERT_EQ(chdir(m_out.c_str()), 0);
    EXPECT_TRUE(Storage::unpack(m_archive, false));
    EXPECT_TRUE(std::filesystem::is_symlink(m_out + "/link"));
    ASSERT_EQ(chdir(m_in.c_str()), 0);
    EXPECT_TRUE(Storage::pack(m_archive, false, {"link", "none", "x"}, true, true));
    EXPECT_EQ(outputOf("tar -tf " + m_archive), "x\n");
}

TEST_F(Tar, packsNothingIntoAnEmptyArchive)
{
    GPAL_NEED(tarIs("bsdtar"), "bsdtar");
    EXPECT_TRUE(Storage::pack(m_archive, true, {}, true, false));
    EXPECT_TRUE(support::exists(m_archive));
    EXPECT_EQ(outputOf("tar -tf " + m_archive), "");
    EXPECT_TRUE(Storage::unpack(m_archive, true));
}

TEST_F(Tar, failsForFilesThatAreNotWhereTheFirstIs)
{
    GPAL_NEED(tarIs("bsdtar"), "bsdtar");
    m_directory.file("elsewhere", "");
    const support::Captured error(2);
    EXPECT_FALSE(
        Storage::packRelativeFiles(m_archive, {m_in + "/x", m_directory.path("elsewhere")}));
    ASSERT_EQ(m_log.lines().size(), 1U);
    EXPECT_EQ(m_log.lines().front().priority, LOG_ERR);
    EXPECT_THAT(m_log.lines().front().text,
                HasSubstr("packInternal: system: Failed with exit code: "));
    EXPECT_EQ(error.text(), "") << "what tar says is not shown";
}

TEST_F(Tar, thatDislikesTheCommandMakesThePackFail)
{
    GPAL_NEED(tarIsGnuTar(), "GNU tar");
    const support::Captured output(1);
    const support::Captured error(2);
    EXPECT_FALSE(Storage::packRelativeFiles(m_archive, {m_in + "/x"}));
    EXPECT_THAT(m_log.lines(), ElementsAre(support::LogLine{
                                   LOG_ERR, "packInternal: system: Failed with exit code: 512"}));
    EXPECT_EQ(output.text() + error.text(), "");
}

TEST_F(Tar, thatIsNotThereMakesEverythingFail)
{
    m_directory.file("archive", "");
    setenv("PATH", m_directory.path("bin").c_str(), 1);
    const support::Captured error(2);
    EXPECT_FALSE(Storage::pack(m_archive, false, {m_in + "/x"}, false, false));
    EXPECT_THAT(m_log.lines(), ElementsAre(support::LogLine{
                                   LOG_ERR, "packInternal: system: Failed with exit code: 32512"}));
    EXPECT_FALSE(Storage::unpack(m_archive, false));
    EXPECT_FALSE(Storage::unpackandunzip(m_archive, m_out));
}

TEST_F(Tar, unpacksIntoADirectoryAndListsTheFiles)
{
    GPAL_NEED(tarIs("bsdtar"), "bsdtar");
    ASSERT_TRUE(Storage::packRelativeFiles(m_archive, {m_in + "/x", m_in + "/y"}));
    GPAL_NEED(tarIsGnuTar() || tarIsBusybox(), "other tar that lists on standard output");
    const support::Captured output(1);
    EXPECT_TRUE(Storage::unpackandunzip(m_archive, m_out));
    EXPECT_EQ(output.text(), "x\ny\n");
    EXPECT_EQ(support::contentOf(m_out + "/x"), "text of x\n");
}

TEST_F(Tar, failsToUnpackWhatIsNoArchive)
{
    m_directory.file("archive", "no archive");
    for (const char* unpacker : {"bsdtar", "tar", "busybox"}) {
        if (tarIs(unpacker)) {
            const support::Captured error(2);
            EXPECT_FALSE(Storage::unpack(m_archive, false)) << unpacker;
            EXPECT_FALSE(Storage::unpackandunzip(m_archive, m_out)) << unpacker;
            EXPECT_NE(error.text(), "") << "what tar says is shown";
        }
    }
    EXPECT_THAT(m_log.lines(), IsEmpty());
}
