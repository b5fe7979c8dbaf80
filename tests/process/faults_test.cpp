// What the layer does with calls that the kernel seldom refuses, and how it hands its arguments to
// those that this program defines itself.
#include <gpal/GPALAnonymousPipe.h>
#include <gpal/Process.h>
#include <gpal/SharedResource.h>
#include <gpal/Ulimit.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <gpal/ProcessTypeString.h>

#include "programs.h"
#include "support/observed.h"
#include "support/plain_thread.h"

using support::LogLine;
using support::Replaceable;
using support::Replacement;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace
{

Replaceable<int(int)> closeCall("close");
Replaceable<int(int*)> pipeCall("pipe");
Replaceable<int(int, rlimit*)> getrlimitCall("getrlimit");

bool limitsReplaced = false;

/// What `semctl` was called with.
struct Control {
    int id;
    int number;
    int command;
    void* argument;
};

Control lastControl{};

/// Whether \p address lies in the frames that are in use below the one of \p bottom.
bool inFramesBelow(const void* address, const void* bottom)
{
    const auto low = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    const auto high = reinterpret_cast<std::uintptr_t>(bottom);
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    return low <= place && place <= high;
}

/// Whether the layer made the call that returns to \p address: a sanitizer tries memory out through
/// a pipe.
bool calledByTheLayer(const void* address)
{
    Dl_info module{};
    return dladdr(address, &module) != 0 && std::strstr(module.dli_fname, "libgpal") != nullptr;
}

bool argumentInFrames = false;
const char* framesBottom = nullptr;

} // namespace

extern "C" {

int close(int descriptor)
{
    return calledByTheLayer(__builtin_return_address(0)) ? closeCall(descriptor)
                                                         : closeCall.original(descriptor);
}

int pipe(int* ends) noexcept
{
    return calledByTheLayer(__builtin_return_address(0)) ? pipeCall(ends) : pipeCall.original(ends);
}

// The sanitizers ask for limits themselves before they are ready for instrumented code.
__attribute__((no_sanitize("address", "thread", "undefined"))) int
getrlimit(__rlimit_resource_t resource, rlimit* limit) noexcept
{
    if (!limitsReplaced) {
        return static_cast<int>(syscall(SYS_prlimit64, 0, resource, nullptr, limit));
    }
    return getrlimitCall(static_cast<int>(resource), limit);
}

pid_t vfork() noexcept
{
    errno = EAGAIN;
    return -1;
}

int semctl(int id, int number, int command, ...) noexcept
{
    va_list arguments;
    va_start(arguments, command);
    lastControl = {id, number, command, va_arg(arguments, void*)};
    va_end(arguments);
    argumentInFrames = inFramesBelow(lastControl.argument, framesBottom);
    errno = ENOSPC;
    return 4711;
}
}

TEST(Process, throwsAndLogsWhenTheKernelMakesNoChild)
{
    const support::RecordedLog log;
    // An object that took the failure for a child's id would end every process there is.
    const Replacement harmless(support::calls::kill, [](pid_t, int) { return -1; });
    Process process;
    EXPECT_EQ("GPAL Process creation failure", failureOf([&] { start(process, {"/bin/true"}); }));
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{
                                 LOG_ERR, "Process ex GPAL Process creation failure:/bin/true\n"}));
    EXPECT_EQ(0, process.ID());
    EXPECT_EQ("/bin/true", process.type()) << "past the checks";
}

TEST(Process, checksTheProgramBeforeItMakesAChild)
{
    const support::RecordedLog log;
    Process process;
    EXPECT_EQ("GPAL Process missing application",
              failureOf([&] { start(process, {"/not/there"}); }));
    EXPECT_EQ(ProcessTypeString::GENERIC_PROCESS, process.type());
}

TEST(SharedSemaphoreControl, handsTheAddressOfItsArgumentAreaOnInPlaceOfTheArgument)
{
    int value = 5;
    framesBottom = reinterpret_cast<const char*>(__builtin_frame_address(0)) + 4096;
    SharedSemaphore set;
    EXPECT_EQ(4711, set.control(11, 12, 13, &value));
    EXPECT_EQ(ENOSPC, errno);
    EXPECT_EQ(11, lastControl.id);
    EXPECT_EQ(12, lastControl.number);
    EXPECT_EQ(13, lastControl.command);
    EXPECT_NE(&value, lastControl.argument);
    EXPECT_TRUE(argumentInFrames) << "in the frames of the call";
}

TEST(SharedSemaphoreControl, handsItsArgumentAreaOnWhateverTheArgumentIs)
{
    framesBottom = reinterpret_cast<const char*>(__builtin_frame_address(0)) + 4096;
    SharedSemaphore set;
    for (const int value : {0, 1, 5, -1}) {
        lastControl = {};
        set.control(1, 2, 3, value);
        EXPECT_TRUE(argumentInFrames) << value;
    }
    lastControl = {};
    set.control(1, 2, 3);
    EXPECT_TRUE(argumentInFrames) << "no argument";
}

TEST(GPALAnonymousPipe, closesItsReadEndThenItsWriteEndAndNothingElse)
{
    std::vector<int> closed;
    std::vector<int> ends;
    {
        const Replacement recorded(closeCall, [&](int descriptor) {
            closed.push_back(descriptor);
            return closeCall.original(descriptor);
        });
        const GPALAnonymousPipe pipe;
        ends = {pipe.readFd, pipe.writeFd};
        EXPECT_TRUE(closed.empty());
    }
    EXPECT_THAT(closed, ElementsAreArray(ends));
}

TEST(GPALAnonymousPipe, passesTheEndsOfAPipeThatCouldNotBeMadeToCloseAsTheyAre)
{
    std::vector<int> closed;
    const Replacement recorded(closeCall, [&](int descriptor) {
        closed.push_back(descriptor);
        errno = EBADF;
        return -1;
    });
    {
        const support::RecordedLog log;
        const Replacement failing(pipeCall, [](int* ends) {
            ends[0] = 77; // not to be looked at after a failure
            ends[1] = 78;
            errno = ENFILE;
            return -1;
        });
        const GPALAnonymousPipe pipe;
        EXPECT_EQ(-1, pipe.readFd);
        EXPECT_EQ(-1, pipe.writeFd);
        EXPECT_TRUE(log.lines().empty());
    }
    EXPECT_THAT(closed, ElementsAre(-1, -1));
}

TEST(GPALAnonymousPipe, closesBothEndsEvenIfClosingTheFirstFails)
{
    std::vector<int> closed;
    const Replacement failing(closeCall, [&](int descriptor) {
        closed.push_back(descriptor);
        closeCall.original(descriptor);
        errno = EIO;
        return -1;
    });
    {
        const GPALAnonymousPipe pipe;
    }
    EXPECT_EQ(2U, closed.size());
}

namespace
{

} // namespace

TEST(GPALAnonymousPipe, holdsTheCancellationOfItsCallerOffUntilBothEndsAreClosed)
{
    const Replacement interruptible(closeCall, [](int descriptor) {
        pthread_testcancel();
        return closeCall.original(descriptor);
    });
    support::PlainThread thread([] {
        const GPALAnonymousPipe pipe;
        pthread_cancel(pthread_self());
    });
    EXPECT_TRUE(thread.wasCancelledOnlyAtItsEnd());
}

TEST(Ulimit, readsTheLimitsFromTheTopOfItsTableToTheOneAskedFor)
{
    const std::string letters = "tfdscmlpnvw";
    const int resources[] = {RLIMIT_CPU,    RLIMIT_FSIZE, RLIMIT_DATA,    RLIMIT_STACK,
                             RLIMIT_CORE,   RLIMIT_RSS,   RLIMIT_MEMLOCK, RLIMIT_NPROC,
                             RLIMIT_NOFILE, RLIMIT_AS,    RLIMIT_LOCKS};
    for (std::size_t place = 0; place < letters.size(); ++place) {
        std::vector<int> asked;
        const Replacement recorded(getrlimitCall, [&](int resource, rlimit* limit) {
            asked.push_back(resource);
            limit->rlim_cur = 1000000 + static_cast<rlim_t>(resource);
            limit->rlim_max = RLIM_INFINITY;
            return 0;
        });
        std::string text;
        limitsReplaced = true;
        EXPECT_TRUE(Ulimit().getulimit(letters[place], text));
        limitsReplaced = false;
        EXPECT_THAT(asked, ElementsAreArray(resources, place + 1));
    }
}
