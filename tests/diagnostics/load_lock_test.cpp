// The lock that keeps the processes of the device from loading libraries at the same time.

#include <gpal/Dll.h>

#include <csignal>
#include <gmock/gmock.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "forked.h"
#include "library_hooks.h"
#include "support/ipc_calls.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/private_mounts.h"

namespace
{

namespace calls = support::calls;
using support::PlainThread;
using support::SemaphoreArgument;
using testing::ElementsAre;
using testing::IsNull;

constexpr key_t KEY = 666;

/// The semaphore set, as the machine knows it; -1 without one.
int lockId()
{
    return semget(KEY, 0, 0);
}

/// The value of the lock: 1 when it is free.
int lockValue()
{
    return semctl(lockId(), 0, GETVAL);
}

/// Memory that children share with the test.
template <typename Content>
class Shared
{
public:
    Shared()
        : m_content(static_cast<Content*>(mmap(nullptr, sizeof(Content), PROT_READ | PROT_WRITE,
                                               MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
    }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    ~Shared() { munmap(m_content, sizeof(Content)); }

    Content* operator->() { return m_content; }

private:
    Content* m_content;
};

/// A child that loads the library and stays in the middle of it until it is killed.
pid_t startLoadingForEver(int tellWhenLoading)
{
    const pid_t child = fork();
    if (child == 0) {
        hooks::loading = [tellWhenLoading] {
            static_cast<void>(write(tellWhenLoading, "!", 1));
            pause();
        };
        const Dll dll(LIBRARY_REPORTING);
        _exit(0);
    }
    return child;
}

class LoadLock : public testing::Test
{
protected:
    void SetUp() override { GPAL_IN_PRIVATE_NAMESPACES(); }
    void TearDown() override { hooks::reset(); }
};

} // namespace

TEST_F(LoadLock, isMadeByTheFirstProcessWithValueOneForEveryone)
{
    ASSERT_EQ(lockId(), -1);
    const Dll dll(LIBRARY_BASE);
    ASSERT_NE(lockId(), -1);
    EXPECT_EQ(lockValue(), 1);
    semid_ds status{};
    SemaphoreArgument argument{};
    argument.buffer = &status;
    ASSERT_EQ(calls::semctl.original(lockId(), 0, IPC_STAT, argument), 0);
    EXPECT_EQ(status.sem_perm.mode & 0777U, 0666U);
    EXPECT_EQ(status.sem_nsems, 1U);
}

TEST_F(LoadLock, isReusedByLaterOnes)
{
    const Dll first(LIBRARY_BASE);
    const int id = lockId();
    const Dll second(LIBRARY_DEPENDENT);
    EXPECT_EQ(inForkedChild([](std::ostream& notes) {
                  const Dll third(LIBRARY_LAZY);
                  notes << lockId() << " " << lockValue();
              }),
              std::to_string(id) + " 1");
    EXPECT_EQ(lockId(), id);
    EXPECT_EQ(lockValue(), 1);
}

TEST_F(LoadLock, isHeldWhileTheLibraryIsLoadedAndNotWhileItIsUsedOrUnloaded)
{
    std::vector<int> values;
    hooks::loading = [&values] { values.push_back(lockValue()); };
    hooks::unloading = hooks::loading;
    {
        const Dll dll(LIBRARY_REPORTING);
        values.push_back(lockValue());
    }
    EXPECT_THAT(values, ElementsAre(0, 1, 1));
}

TEST_F(LoadLock, isFreeAfterAFailure)
{
    const Dll missing("/nowhere/libmissing.so");
    EXPECT_EQ(lockValue(), 1);
    const Dll orphan(LIBRARY_ORPHAN);
    EXPECT_EQ(lockValue(), 1);
}

TEST_F(LoadLock, keepsProcessesApart)
{
    struct Loading {
        int now;
        int together;
        int times;
    };
    Shared<Loading> loading;
    hooks::loading = [&loading] {
        if (__atomic_add_fetch(&loading->now, 1, __ATOMIC_SEQ_CST) > 1) {
            __atomic_add_fetch(&loading->together, 1, __ATOMIC_SEQ_CST);
        }
        usleep(20 * 1000);
        __atomic_sub_fetch(&loading->now, 1, __ATOMIC_SEQ_CST);
        __atomic_add_fetch(&loading->times, 1, __ATOMIC_SEQ_CST);
    };
    constexpr int PROCESSES = 5;
    std::vector<pid_t> children;
    for (int i = 0; i < PROCESSES; ++i) {
        children.push_back(fork());
        if (children.back() == 0) {
            const Dll dll(LIBRARY_REPORTING);
            _exit(0);
        }
    }
    for (const pid_t child : children) {
        waitpid(child, nullptr, 0);
    }
    EXPECT_EQ(loading->times, PROCESSES);
    EXPECT_EQ(loading->together, 0);
    EXPECT_EQ(lockValue(), 1);
}

TEST_F(LoadLock, isFreedByTheKernelWhenItsHolderIsKilled)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t holder = startLoadingForEver(ends[1]);
    char loading = 0;
    ASSERT_EQ(read(ends[0], &loading, 1), 1);
    EXPECT_EQ(lockValue(), 0);

    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    EXPECT_EQ(lockValue(), 1);
    Dll dll(LIBRARY_BASE);
    EXPECT_THAT(dll.error(), IsNull());
    EXPECT_EQ(lockValue(), 1);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(LoadLock, isWaitedForWhileAnotherProcessHoldsIt)
{
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t holder = startLoadingForEver(ends[1]);
    char loading = 0;
    ASSERT_EQ(read(ends[0], &loading, 1), 1);

    bool loaded = false;
    PlainThread waiter([&loaded] {
        const Dll dll(LIBRARY_BASE);
        __atomic_store_n(&loaded, true, __ATOMIC_SEQ_CST);
    });
    EXPECT_TRUE(support::eventually([] { return semctl(lockId(), 0, GETNCNT) == 1; }));
    EXPECT_FALSE(__atomic_load_n(&loaded, __ATOMIC_SEQ_CST));
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    waiter.join();
    EXPECT_TRUE(loaded);
    EXPECT_EQ(lockValue(), 1);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(LoadLock, isFreeAfterTheLoadOfACancelledThread)
{
    hooks::loading = [] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    };
    PlainThread thread([] {
        const Dll dll(LIBRARY_REPORTING);
        pthread_testcancel();
    });
    thread.join();
    EXPECT_TRUE(thread.wasCancelled());
    EXPECT_EQ(lockValue(), 1);
    const Dll dll(LIBRARY_BASE);
    EXPECT_EQ(lockValue(), 1);
}
