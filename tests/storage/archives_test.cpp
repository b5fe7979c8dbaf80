#include <gpal/Storage.h>

#include <cerrno>
#include <set>
#include <thread>

#include <gmock/gmock.h>

#include "storage/packing.h"

using support::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class Unpacking : public testing::Test
{
protected:
    support::TemporaryDirectory m_directory;
    const std::string m_archive = m_directory.file("a.tgz", "");
    const std::string m_missing = m_directory.path("none.tgz");
    support::RecordedLog m_log;
};

} // namespace

TEST_F(Packing, tellsTarWhereItsListAndItsArchiveAre)
{
    EXPECT_TRUE(Storage::pack("/tmp/all.tar", false, {"/a/x", "y"}, false, false));
    EXPECT_THAT(m_commands,
                ElementsAre("tar -c -T " + m_list.name() + " -f /tmp/all.tar > /dev/null 2>&1"));
    EXPECT_EQ(m_members, "/a/x\ny\n");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Packing, compressesWhenAskedTo)
{
    EXPECT_TRUE(Storage::pack("/tmp/all.tgz", false, {"/a/x"}, true, false));
    EXPECT_THAT(m_commands,
                ElementsAre("tar -cz -T " + m_list.name() + " -f /tmp/all.tgz > /dev/null 2>&1"));
}

TEST_F(Packing, keepsItsListAsATemporaryFileMeanwhile)
{
    EXPECT_TRUE(Storage::pack("all.tar", false, {"x"}, false, false));
    EXPECT_EQ(m_list.pattern(), "/tmp/listOfTarFilesXXXXXX");
    EXPECT_EQ(m_list.name().size(), m_list.pattern().size());
    EXPECT_NE(m_list.name(), m_list.pattern());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(Packing, ofRelativeFilesCompressesTheirNamesFromTheirDirectory)
{
    EXPECT_TRUE(Storage::packRelativeFiles("/tmp/cfg.tgz", {"/a/b/x", "/a/b/y"}));
    EXPECT_THAT(m_commands, ElementsAre("tar -cz -T " + m_list.name() +
                                        " -C /a/b/ -f /tmp/cfg.tgz > /dev/null 2>&1"));
    EXPECT_EQ(m_members, "x\ny\n");
}

TEST_F(Packing, ofRelativeFilesTakesTheFirstDirectoryForAll)
{
    EXPECT_TRUE(Storage::packRelativeFiles("a.tgz", {"/a/b/x", "/c/y"}));
    EXPECT_THAT(m_commands,
                ElementsAre("tar -cz -T " + m_list.name() + " -C /a/b/ -f a.tgz > /dev/null 2>&1"));
    EXPECT_EQ(m_members, "x\ny\n");
}

TEST_F(Packing, ofRelativeFilesTakesTheDirectoryOfTheFirstThatNamesOne)
{
    EXPECT_TRUE(Storage::packRelativeFiles("a.tgz", {"x", "sub/y", "/c/z"}));
    EXPECT_THAT(m_commands,
                ElementsAre("tar -cz -T " + m_list.name() + " -C sub/ -f a.tgz > /dev/null 2>&1"));
    EXPECT_EQ(m_members, "x\ny\nz\n");
}

TEST_F(Packing, ofRelativeFilesWithoutADirectoryStaysWhereItIs)
{
    EXPECT_TRUE(Storage::packRelativeFiles("a.tgz", {"x", "y"}));
    EXPECT_THAT(m_commands,
                ElementsAre("tar -cz -T " + m_list.name() + " -f a.tgz > /dev/null 2>&1"));
    EXPECT_EQ(m_members, "x\ny\n");
}

TEST_F(Packing, ofRelativeFilesKeepsLinksAndMissingFiles)
{
    const std::string link = m_directory.path("link");
    std::filesystem::create_symlink("nowhere", link);
    EXPECT_TRUE(Storage::packRelativeFiles("a.tgz", {link, m_directory.path("none")}));
    EXPECT_EQ(m_members, "link\nnone\n");
}

TEST_F(Packing, ofRelativeFilesMayLeaveOutTheOneThatNamesTheDirectory)
{
    EXPECT_TRUE(Storage::packInternal("a.tar", false, {"/no/such/link", m_directory.file("x", "")},
                                      false, true, true));
    EXPECT_THAT(m_commands, ElementsAre("tar -c -T " + m_list.name() +
                                        " -C /no/such/ -f a.tar > /dev/null 2>&1"));
    EXPECT_EQ(m_members, "x\n");
}

TEST_F(Packing, ofNothingHandsTarAnEmptyList)
{
    EXPECT_TRUE(Storage::pack("a.tar", true, {}, false, true));
    EXPECT_THAT(m_commands,
                ElementsAre("tar -c -T " + m_list.name() + " -f a.tar > /dev/null 2>&1"));
    EXPECT_EQ(m_members, "");
    EXPECT_TRUE(Storage::packRelativeFiles("a.tgz", {}));
    EXPECT_EQ(m_commands.back(), "tar -cz -T " + m_list.name() + " -f a.tgz > /dev/null 2>&1");
}

TEST_F(Packing, quotesNoPath)
{
    EXPECT_TRUE(
        Storage::packInternal("all my.tar; $(x)", false, {"/a 'b'/x y"}, false, false, true));
    EXPECT_THAT(m_commands, ElementsAre("tar -c -T " + m_list.name() +
                                        " -C /a 'b'/ -f all my.tar; $(x) > /dev/null 2>&1"));
    EXPECT_EQ(m_members, "x y\n");
}

TEST_F(Packing, stopsAtTheFirstMissingFileIfItIsToCheck)
{
    const std::string file = m_directory.file("x", "");
    const std::string missing = m_directory.path("none");
    EXPECT_FALSE(
        Storage::pack("a.tar", true, {file, missing, m_directory.path("other")}, false, false));
    EXPECT_THAT(m_log.lines(), ElementsAre(LogLine{LOG_ERR, "packInternal: stat: \"" + missing +
                                                                "\": " + std::strerror(ENOENT)}));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(Packing, checksFilesBeforeItLeavesLinksOut)
{
    std::filesystem::create_symlink("nowhere", m_directory.path("link"));
    EXPECT_FALSE(Storage::pack("a.tar", true, {m_directory.path("link")}, false, true));
    EXPECT_EQ(m_log.lines().size(), 1U);
}

TEST_F(Packing, packsWhatIsThereWhenItChecks)
{
    const std::string file = m_directory.file("x", "");
    std::filesystem::create_symlink("x", m_directory.path("link"));
    EXPECT_TRUE(Storage::pack("a.tar", true, {file, m_directory.path("link")}, false, false));
    EXPECT_EQ(m_members, file + "\n" + m_directory.path("link") + "\n");
}

TEST_F(Packing, leavesLinksAndMissingFilesOutIfItIsTo)
{
    const std::string file = m_directory.file("x", "");
    std::filesystem::create_symlink("x", m_directory.path("link"));
    EXPECT_TRUE(Storage::pack(
        "a.tar", false,
        {m_directory.path("link"), file, m_directory.path("none"), m_directory.path()}, false,
        true));
    EXPECT_EQ(m_members, file + "\n" + m_directory.path() + "\n");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Packing, handsTarLinksAndMissingFilesOtherwise)
{
    std::filesystem::create_symlink("nowhere", m_directory.path("link"));
    EXPECT_TRUE(Storage::pack("a.tar", false, {m_directory.path("link"), "none"}, false, false));
    EXPECT_EQ(m_members, m_directory.path("link") + "\nnone\n");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Packing, leavesTheCallersListAsItIs)
{
    const std::list<std::string> files{"/a/x", "/a/y"};
    EXPECT_TRUE(Storage::packRelativeFiles("a.tgz", files));
    EXPECT_THAT(files, ElementsAre("/a/x", "/a/y"));
}

TEST(PackingAtOnce, givesEachItsOwnList)
{
    constexpr int PACKERS = 4;
    const support::RecordedCommands shell;
    std::vector<std::thread> packers;
    for (int i = 0; i < PACKERS; ++i) {
        packers.emplace_back(
            [] { EXPECT_TRUE(Storage::pack("a.tar", false, {"x"}, false, false)); });
    }
    for (std::thread& packer : packers) {
        packer.join();
    }
    const auto commands = shell.commands();
    EXPECT_EQ(std::set<std::string>(commands.begin(), commands.end()).size(), 4U);
}

TEST_F(Unpacking, goesIntoTheWorkingDirectoryOrTheRoot)
{
    const support::RecordedCommands shell;
    EXPECT_TRUE(Storage::unpack(m_archive, false));
    EXPECT_TRUE(Storage::unpack(m_archive, true));
    EXPECT_THAT(shell.commands(),
                ElementsAre("tar xzf " + m_archive, "tar xzf " + m_archive + " -C /"));
}

TEST_F(Unpacking, goesIntoAnyDirectoryWithAListing)
{
    const support::RecordedCommands shell;
    EXPECT_TRUE(Storage::unpackandunzip(m_archive, "/mnt/flash"));
    EXPECT_THAT(shell.commands(), ElementsAre("tar -xzvf " + m_archive + " -C /mnt/flash"));
}

TEST_F(Unpacking, quotesNoPath)
{
    const support::RecordedCommands shell;
    const std::string archive = m_directory.file("a b; c", "");
    EXPECT_TRUE(Storage::unpack(archive, true));
    EXPECT_TRUE(Storage::unpackandunzip(archive, "x y"));
    EXPECT_THAT(shell.commands(),
                ElementsAre("tar xzf " + archive + " -C /", "tar -xzvf " + archive + " -C x y"));
}

TEST_F(Unpacking, runsNothingForAMissingArchive)
{
    const support::RecordedCommands shell;
    std::filesystem::create_symlink("nowhere", m_directory.path("link"));
    for (const std::string& archive : {m_missing, m_directory.path("link")}) {
        EXPECT_FALSE(Storage::unpack(archive, false));
        EXPECT_FALSE(Storage::unpack(archive, true));
        EXPECT_FALSE(Storage::unpackandunzip(archive, "/"));
    }
    EXPECT_THAT(shell.commands(), IsEmpty());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(Unpacking, failsWithTarAndLogsNothing)
{
    for (const int status : {-1, 1, 256, 512}) {
        const support::RecordedCommands shell(status);
        EXPECT_FALSE(Storage::unpack(m_archive, false));
        EXPECT_FALSE(Storage::unpack(m_archive, true));
        EXPECT_FALSE(Storage::unpackandunzip(m_archive, "/"));
        EXPECT_EQ(shell.commands().size(), 3U);
    }
    EXPECT_THAT(m_log.lines(), IsEmpty());
}
