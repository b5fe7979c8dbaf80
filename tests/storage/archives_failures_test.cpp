#include <gpal/Storage.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "storage/packing.h"
#include "support/plain_thread.h"

using support::LogLine;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace calls = support::calls;

namespace
{

template <typename Result>
Result fail(int reason, Result result)
{
    errno = reason;
    return result;
}

class PackingStep : public Packing
{
protected:
    bool pack() const { return Storage::pack("a.tar", false, {"x"}, false, false); }

    /// Opens the list's stream on a full disk instead.
    std::FILE* openOnFullDisk(int descriptor, const char* mode)
    {
        const int full = open("/dev/full", O_WRONLY);
        dup2(full, descriptor);
        close(full);
        return calls::fdopen.original(descriptor, mode);
    }
};

} // namespace

TEST_F(PackingStep, followsTheOther)
{
    std::vector<std::string> steps;
    const Replacement fdopen(calls::fdopen, [&](int descriptor, const char* mode) {
        EXPECT_EQ(descriptor, m_list.descriptor());
        steps.push_back(std::string("fdopen ") + mode);
        return calls::fdopen.original(descriptor, mode);
    });
    const Replacement fflush(calls::fflush, [&](std::FILE* stream) {
        if (fileno(stream) == m_list.descriptor()) {
            steps.emplace_back("fflush");
        }
        return calls::fflush.original(stream);
    });
    const Replacement fsync(calls::fsync, [&](int descriptor) {
        EXPECT_EQ(descriptor, m_list.descriptor());
        EXPECT_EQ(support::contentOf(m_list.name()), "x\n");
        steps.emplace_back("fsync");
        return calls::fsync.original(descriptor);
    });
    const Replacement system(calls::system, [&](const char*) {
        steps.emplace_back("system");
        return 0;
    });
    const Replacement unlink(calls::unlink, [&](const char* path) {
        EXPECT_EQ(path, m_list.name());
        steps.emplace_back("unlink");
        return calls::unlink.original(path);
    });
    const Replacement fclose(calls::fclose, [&](std::FILE* stream) {
        if (fileno(stream) == m_list.descriptor()) {
            steps.emplace_back("fclose");
        }
        return calls::fclose.original(stream);
    });
    EXPECT_TRUE(pack());
    EXPECT_THAT(steps, ElementsAre("fdopen w", "fflush", "fsync", "system", "unlink", "fclose"));
}

TEST_F(PackingStep, thatMakesTheListEndsThePackWhenItFails)
{
    int opened = 0;
    const Replacement fdopen(calls::fdopen, [&](int, const char*) {
        ++opened;
        return static_cast<std::FILE*>(nullptr);
    });
    const Replacement mkstemp(calls::mkstemp, [](char*) { return fail(ENOSPC, -1); });
    EXPECT_FALSE(pack());
    EXPECT_THAT(m_log.lines(), ElementsAre(LogLine{LOG_ERR, std::string("packInternal: mkstemp: ") +
                                                                std::strerror(ENOSPC)}));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_EQ(opened, 0);
}

TEST_F(PackingStep, thatOpensTheListLeavesItBehindWhenItFails)
{
    const Replacement fdopen(calls::fdopen,
                             [](int, const char*) { return fail<std::FILE*>(ENOMEM, nullptr); });
    EXPECT_FALSE(pack());
    EXPECT_THAT(m_log.lines(), ElementsAre(LogLine{LOG_ERR, std::string("packInternal: fdopen: ") +
                                                                std::strerror(ENOMEM)}));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_TRUE(m_list.isLeft());
    EXPECT_EQ(unlink(m_list.name().c_str()), 0);
    EXPECT_EQ(close(m_list.descriptor()), 0) << "it is still open";
}

TEST_F(PackingStep, thatWritesANameEndsThePackWhenItFails)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full";
    }
    const Replacement fdopen(calls::fdopen, [this](int descriptor, const char* mode) {
        std::FILE* stream = openOnFullDisk(descriptor, mode);
        std::setvbuf(stream, nullptr, _IONBF, 0); // it fails at once, and for good
        return stream;
    });
    EXPECT_FALSE(Storage::pack("a.tar", false, {"x", "y"}, false, false));
    EXPECT_THAT(m_log.lines(), ElementsAre(failing("fprintf", ENOSPC)));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(PackingStep, thatFlushesTheListEndsThePackAsASuccessWhenItFails)
{
    const Replacement fflush(calls::fflush, [](std::FILE*) { return fail(EIO, EOF); });
    EXPECT_TRUE(pack());
    EXPECT_THAT(m_log.lines(), ElementsAre(failing("fflush", EIO)));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(PackingStep, thatFlushesTheListFindsTheDiskFull)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full";
    }
    const Replacement fdopen(calls::fdopen, [this](int descriptor, const char* mode) {
        return openOnFullDisk(descriptor, mode);
    });
    EXPECT_TRUE(pack());
    ASSERT_FALSE(m_log.lines().empty());
    EXPECT_EQ(m_log.lines().front(), failing("fflush", ENOSPC));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(PackingStep, thatFlushesTheListFindsTheDiskFullThoughTheCLibraryFlushesAndClosesAllTheSame)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full";
    }
    const Replacement fdopen(calls::fdopen, [this](int descriptor, const char* mode) {
        return openOnFullDisk(descriptor, mode);
    });
    {
        const Replacement fflush(calls::fflush, [](std::FILE* stream) {
            calls::fflush.original(stream);
            return 0;
        });
        const Replacement fclose(calls::fclose, [](std::FILE* stream) {
            calls::fclose.original(stream);
            return 0;
        });
        EXPECT_TRUE(pack());
    }
    EXPECT_THAT(m_log.lines(), ElementsAre(failing("fflush", ENOSPC)));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(PackingStep, thatSynchronisesTheListEndsThePackAsASuccessWhenItFails)
{
    const Replacement fsync(calls::fsync, [](int) { return fail(EIO, -1); });
    EXPECT_TRUE(pack());
    EXPECT_THAT(m_log.lines(), ElementsAre(failing("fsync", EIO)));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(PackingStep, thatRunsTarMakesThePackFailWithTheStatusAsItIs)
{
    for (const int status : {-1, 1, 256, 512}) {
        m_status = status;
        const std::size_t before = m_log.lines().size();
        EXPECT_FALSE(pack());
        ASSERT_EQ(m_log.lines().size(), before + 1);
        EXPECT_EQ(m_log.lines().back(), failedWith(status));
        EXPECT_FALSE(m_list.isLeft());
    }
}

TEST_F(PackingStep, thatRemovesTheListMayFail)
{
    {
        const Replacement unlink(calls::unlink, [](const char*) { return fail(EROFS, -1); });
        EXPECT_TRUE(pack());
    }
    EXPECT_THAT(m_log.lines(), ElementsAre(failing("unlink", EROFS)));
    EXPECT_TRUE(m_list.isLeft());
    EXPECT_EQ(unlink(m_list.name().c_str()), 0);
}

TEST_F(PackingStep, thatClosesTheListMayFail)
{
    const Replacement fclose(calls::fclose, [](std::FILE* stream) {
        calls::fclose.original(stream);
        return fail(EIO, EOF);
    });
    EXPECT_TRUE(pack());
    EXPECT_THAT(m_log.lines(), ElementsAre(failing("close", EIO)));
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(PackingStep, thatCleansUpIsTriedAfterEveryFailure)
{
    {
        const Replacement unlink(calls::unlink, [](const char*) { return fail(EROFS, -1); });
        const Replacement fclose(calls::fclose, [](std::FILE* stream) {
            calls::fclose.original(stream);
            return fail(EIO, EOF);
        });
        m_status = 256;
        EXPECT_FALSE(pack());
    }
    EXPECT_THAT(m_log.lines(),
                ElementsAre(failedWith(256), failing("unlink", EROFS), failing("close", EIO)));
    EXPECT_EQ(unlink(m_list.name().c_str()), 0);
}

TEST_F(PackingStep, thatExaminesALinkLeavesItOutWhenItFails)
{
    const Replacement lstat(calls::lstat, [](const char* path, struct stat* file) {
        return std::strcmp(path, "bad") == 0 ? fail(EACCES, -1)
                                             : calls::lstat.original("/etc", file);
    });
    EXPECT_TRUE(Storage::pack("a.tar", false, {"x", "bad", "y"}, false, true));
    EXPECT_EQ(m_members, "x\ny\n");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(PackingStep, thatExaminesAFileSaysWhyItFailed)
{
    const Replacement stat(calls::stat, [](const char*, struct stat*) { return fail(EACCES, -1); });
    EXPECT_FALSE(Storage::pack("a.tar", true, {"x"}, false, false));
    EXPECT_THAT(m_log.lines(), ElementsAre(LogLine{LOG_ERR, std::string("packInternal: stat: "
                                                                        "\"x\": ") +
                                                                std::strerror(EACCES)}));
}

TEST_F(PackingStep, atWhichTheThreadIsCancelledLeavesNoList)
{
    const Replacement system(calls::system, [](const char*) {
        support::cancelOneself();
        return 0;
    });
    support::PlainThread packing([] { Storage::pack("a.tar", false, {}, false, false); });
    EXPECT_TRUE(packing.wasCancelled());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(PackingStep, thatCleansUpIsDoneBeforeTheThreadIsCancelled)
{
    const Replacement unlink(calls::unlink, [](const char* path) {
        pthread_cancel(pthread_self());
        return calls::unlink.original(path);
    });
    const Replacement fclose(calls::fclose, [](std::FILE* stream) {
        pthread_testcancel();
        return calls::fclose.original(stream);
    });
    bool isPacked = false;
    support::PlainThread packing(
        [&] { isPacked = Storage::pack("a.tar", false, {}, false, false); });
    EXPECT_TRUE(packing.wasCancelledOnlyAtItsEnd());
    EXPECT_TRUE(isPacked);
    EXPECT_FALSE(m_list.isLeft());
}
