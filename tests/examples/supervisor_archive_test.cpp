#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include "supervisor_run.h"

#include "support/command_output.h"
#include "support/observed.h"
#include "support/private_mounts.h"

using support::outputOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace
{

constexpr unsigned long long KIBIBYTE = 1024;

/// Names in a directory that neither the record nor an archive has.
std::vector<std::string> leftovers(const std::string& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() != ".tgz" && entry.path().filename() != "supervisor.records") {
            names.push_back(entry.path().filename());
        }
    }
    return names;
}

} // namespace

#define GPAL_WITH_TAR()                                                                            \
    if (!provideTar()) {                                                                           \
        GTEST_SKIP() << "no tar here that accepts -cz -T list -C dir/ -f archive";                 \
    }                                                                                              \
    static_assert(true, "takes the semicolon")

class SupervisorArchives : public SupervisorTest
{
protected:
    /// Runs a program that does nothing \p runs times, and archives at \p archiveAt records.
    std::vector<std::string> arguments(int runs, int archiveAt) const
    {
        return {"--restarts",   std::to_string(runs - 1),  "--pause", "0",
                "--archive-at", std::to_string(archiveAt), script("")};
    }
};

TEST_F(SupervisorArchives, holdEveryRecordOverSeveralRotations)
{
    GPAL_WITH_TAR();
    ProgramRun run(m_work, arguments(11, 6));
    EXPECT_EQ(run.wait(), 0);
    EXPECT_EQ(run.errors(), "");
    EXPECT_TRUE(support::exists(archivePath("0001")));
    EXPECT_TRUE(support::exists(archivePath("0003")));
    EXPECT_FALSE(support::exists(archivePath("0004")));
    EXPECT_THAT(records(), SizeIs(4));
    EXPECT_TRUE(areCompleteRuns(archivedAndOtherRecords(), 11));
    EXPECT_THAT(leftovers(m_volatile.path()), IsEmpty());
    EXPECT_THAT(run.output(), HasSubstr(" archived 6 records in " + archivePath("0002") + "\n"));
    EXPECT_THAT(run.output(), HasSubstr("; 3 archives made, 4 records left in "));
}

TEST_F(SupervisorArchives, areNeverOverwritten)
{
    GPAL_WITH_TAR();
    m_volatile.file("supervisor.0007.tgz", "of another day");
    m_volatile.file("supervisor.x9.tgz", "no archive of the supervisor's");
    ProgramRun run(m_work, arguments(2, 2));
    EXPECT_EQ(run.wait(), 0);
    EXPECT_EQ(support::contentOf(archivePath("0007")), "of another day");
    EXPECT_TRUE(support::exists(archivePath("0008")));
    EXPECT_TRUE(support::exists(archivePath("0009")));
    EXPECT_FALSE(support::exists(archivePath("0001")));
}

TEST_F(SupervisorArchives, areMadeOfAFullRecordBeforeTheFirstRun)
{
    GPAL_WITH_TAR();
    m_volatile.file("supervisor.records", "one\ntwo\nthree\n");
    ProgramRun run(m_work, arguments(1, 3));
    EXPECT_EQ(run.wait(), 0);
    EXPECT_EQ(outputOf("tar -xzOf " + archivePath("0001")), "one\ntwo\nthree\n");
    EXPECT_TRUE(areCompleteRuns(records(), 1));
}

TEST_F(SupervisorArchives, areNotMadeAtZero)
{
    GPAL_WITH_TAR();
    ProgramRun run(m_work, arguments(60, 0));
    EXPECT_EQ(run.wait(), 0);
    EXPECT_FALSE(support::exists(archivePath("0001")));
    EXPECT_TRUE(areCompleteRuns(records(), 60));
}

TEST_F(SupervisorArchives, thatTarDoesNotMakeLeaveTheRecordAsItIs)
{
    replaceTar("echo complaint >&2; exit 1\n");
    EXPECT_EQ(
        complaint(arguments(5, 4)),
        "supervisor: cannot archive " + recordPath() +
            ", which stays as it is: tar failed (disk full, or a tar that --help warns of)\n");
    EXPECT_TRUE(areCompleteRuns(records(), 2));
    EXPECT_THAT(leftovers(m_volatile.path()), IsEmpty());
}

class SupervisorArchivesOfABadTar : public SupervisorArchives,
                                    public testing::WithParamInterface<const char*>
{
};

/// A tar that reports success proves nothing: the archive may be missing, empty, or of other data.
TEST_P(SupervisorArchivesOfABadTar, leaveTheRecordAsItIs)
{
    replaceTar(GetParam());
    EXPECT_THAT(complaint(arguments(5, 4)),
                StartsWith("supervisor: cannot archive " + recordPath() +
                           ", which stays as it is: what tar made does not unpack to the same"));
    EXPECT_TRUE(areCompleteRuns(records(), 2));
    EXPECT_FALSE(support::exists(archivePath("0001")));
    EXPECT_THAT(leftovers(m_volatile.path()), IsEmpty());
}

/// A tar that packs an empty file, and unpacks what \p unpack writes.
#define PACKING_AND(unpack)                                                                        \
    "case $1 in -c*) for archive; do :; done; : >$archive;; *) " unpack ";; esac\n"

INSTANTIATE_TEST_SUITE_P(
    byWhatItDoes, SupervisorArchivesOfABadTar,
    testing::Values("exit 0\n", PACKING_AND("exit 1"),
                    PACKING_AND("echo other >supervisor.records"),
                    PACKING_AND("tr a-z A-Z <../supervisor.records >supervisor.records"),
                    PACKING_AND("{ cat ../supervisor.records; echo more; } >supervisor.records")));

TEST_F(SupervisorArchives, areRefusedWhereTheShellWouldReadThePath)
{
    const std::string place = m_volatile.path("a;b c");
    std::filesystem::create_directory(place);
    setenv("MIRTA_VOLATILE_LOCATION", place.c_str(), 1);
    EXPECT_THAT(complaint(arguments(1, 2)), StartsWith("supervisor: cannot make archives in " +
                                                       place + "/: its path may hold letters"));
    ProgramRun without(m_work, arguments(1, 0));
    EXPECT_EQ(without.wait(), 0);
}

/// A volatile location on a disk of four pages.
class SupervisorOnASmallDisk : public SupervisorArchives
{
protected:
    ~SupervisorOnASmallDisk() override { umount2(m_volatile.path().c_str(), MNT_DETACH); }

    bool mountDisk() const { return support::mountTmpfs(m_volatile.path(), 16 * KIBIBYTE); }
    /// Takes space away.
    void fill(unsigned long long bytes) const
    {
        m_volatile.file("filler.tgz", std::string(static_cast<std::size_t>(bytes), 'x'));
    }
};

TEST_F(SupervisorOnASmallDisk, saysThatItIsFullAndLosesNoRecord)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    ASSERT_TRUE(mountDisk());
    EXPECT_EQ(complaint(arguments(1000, 0)),
              "supervisor: cannot write " + recordPath() + ": No space left on device\n");
    const std::string content = support::contentOf(recordPath());
    EXPECT_EQ(content.back(), '\n');
    EXPECT_GT(content.size(), 15 * KIBIBYTE);
    // The last run may have been recorded by its start only.
    std::vector<std::string> whole = records();
    const int runs = static_cast<int>(whole.size() / 2);
    whole.resize(static_cast<std::size_t>(runs) * 2);
    EXPECT_TRUE(areCompleteRuns(whole, runs));
    const std::string output = support::contentOf(m_work.path("stdout"));
    EXPECT_THAT(output, HasSubstr(" run " + std::to_string(runs) + " ended"));
    EXPECT_THAT(output, Not(HasSubstr(" run " + std::to_string(runs + 1) + " ended")));
}

TEST_F(SupervisorOnASmallDisk, endsTheProgramWhoseStartItCanNotRecord)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    ASSERT_TRUE(mountDisk());
    fill(16 * KIBIBYTE);
    EXPECT_THAT(complaint({script("echo $$ >process\nexec sleep 100")}),
                HasSubstr("No space left on device"));
    EXPECT_EQ(support::contentOf(recordPath()), "");
    const std::string process = support::contentOf(m_work.path("process"));
    if (!process.empty()) { // else it was ended before it got that far
        EXPECT_NE(
            std::system(
                ("kill -0 " + process.substr(0, process.find('\n')) + " 2>/dev/null").c_str()),
            0);
    }
}

/// No page is left for the archive, or one, but none to unpack it again.
TEST_F(SupervisorOnASmallDisk, keepsTheRecordThatItHasNoSpaceToArchive)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    GPAL_WITH_TAR();
    ASSERT_TRUE(mountDisk());
    for (const unsigned long long free : {4ULL, 8ULL}) {
        fill((16 - free) * KIBIBYTE);
        EXPECT_THAT(
            complaint(arguments(3, 6)),
            StartsWith("supervisor: cannot archive " + recordPath() + ", which stays as it is: "));
        EXPECT_TRUE(areCompleteRuns(records(), 3));
        EXPECT_FALSE(support::exists(archivePath("0001")));
        EXPECT_THAT(leftovers(m_volatile.path()), IsEmpty());
        std::filesystem::remove(recordPath());
    }
}

TEST_F(SupervisorOnASmallDisk, archivesAsSoonAsThereIsSpaceAgain)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    GPAL_WITH_TAR();
    ASSERT_TRUE(mountDisk());
    fill(12 * KIBIBYTE);
    EXPECT_THAT(complaint(arguments(3, 6)), StartsWith("supervisor: cannot archive "));
    std::filesystem::remove(m_volatile.path("filler.tgz"));
    ProgramRun run(m_work, {"--restarts", "0", "--archive-at", "6", script("")});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(linesOf(outputOf("tar -xzOf " + archivePath("0001"))), SizeIs(6));
    EXPECT_TRUE(areCompleteRuns(records(), 1));
}
