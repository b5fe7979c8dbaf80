// Packs that are cancelled while they write their list of members.
#include <gpal/Storage.h>

#include <cerrno>
#include <gmock/gmock.h>
#include <unistd.h>

#include "storage/packing.h"
#include "support/c_library.h"
#include "support/full_pipe.h"
#include "support/plain_thread.h"

namespace calls = support::calls;

using support::cancelOneself;
using support::PlainThread;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class CancelledPack : public Packing
{
protected:
    static void pack() { Storage::pack("a.tar", false, {"x"}, false, false); }
    static void packMany()
    {
        Storage::pack("a.tar", false, std::list<std::string>(1000, std::string(100, 'x')), false,
                      false);
    }

    /// Packs into a list whose stream leads to a full pipe.
    void expectLetGoWhenBlocked(void (*packing)())
    {
        const support::FullPipe pipe(m_directory.path("pipe"));
        const Replacement fdopen(calls::fdopen, [&](int descriptor, const char* mode) {
            const int writing = open(pipe.path().c_str(), O_WRONLY);
            dup2(writing, descriptor);
            close(writing);
            return calls::fdopen.original(descriptor, mode);
        });
        PlainThread thread(packing);
        thread.cancelOnceItBlocks();
        EXPECT_TRUE(thread.wasCancelled());
        EXPECT_FALSE(m_list.isLeft());
        EXPECT_TRUE(pipe.gotNothing());
    }
};

using PackOnAFullDisk = CancelledPack;

} // namespace

TEST_F(CancelledPack, blockedInFlushingLeavesNoList)
{
    expectLetGoWhenBlocked(pack);
    EXPECT_THAT(m_commands, IsEmpty());
}

TEST_F(CancelledPack, blockedInWritingLeavesNoList)
{
    GPAL_SKIP_BECAUSE(support::whyPrintsAreNotUnwound());
    expectLetGoWhenBlocked(packMany);
}

TEST_F(CancelledPack, byTheFlushItselfLeavesNoList)
{
    const Replacement fflush(calls::fflush, [](std::FILE* stream) {
        cancelOneself();
        return calls::fflush.original(stream);
    });
    PlainThread thread(pack);
    EXPECT_TRUE(thread.wasCancelled());
    EXPECT_FALSE(m_list.isLeft());
}

TEST_F(PackOnAFullDisk, whoseFlushOnlySeemsToSucceedCountsAsAFailedFlush)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full";
    }
    const Replacement fdopen(calls::fdopen, [](int descriptor, const char* mode) {
        const int full = open("/dev/full", O_WRONLY);
        dup2(full, descriptor);
        close(full);
        return calls::fdopen.original(descriptor, mode);
    });
    const Replacement fflush(calls::fflush, [](std::FILE* stream) {
        calls::fflush.original(stream);
        return 0;
    });
    EXPECT_TRUE(Storage::pack("a.tar", false, {"x"}, false, false));
    EXPECT_THAT(m_log.lines(), ElementsAre(failing("fflush", ENOSPC)));
    EXPECT_THAT(m_commands, IsEmpty());
    EXPECT_FALSE(m_list.isLeft());
}
