// Segments and semaphore sets, shared with a second process.
#include <gpal/SharedResource.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <gmock/gmock.h>
#include <memory>
#include <sys/mman.h>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>

#include "support/observed.h"
#include "support/private_mounts.h"
#include "support/temporary_directory.h"

namespace
{

constexpr int MODE = 0600;
constexpr int SIZE = 5000;

/// Tests on System V objects of their own, out of reach of the machine's where that is allowed.
class SystemV : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string reason;
        support::enterPrivateNamespaces(reason);
    }

    void TearDown() override
    {
        m_memory.control(m_segment, IPC_RMID, nullptr);
        m_semaphores.control(m_set, 0, IPC_RMID);
    }

    /// A key of this test's own.
    int key() const
    {
        return SharedResource::getSharedResourceKey(m_directory.path().c_str(), 'g');
    }

    /// A place in memory where nothing is and a segment may be attached.
    static char* freePlace()
    {
        const auto step = static_cast<std::size_t>(SHMLBA);
        void* const room = mmap(nullptr, 2 * step, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        munmap(room, 2 * step);
        const auto address = reinterpret_cast<std::uintptr_t>(room);
        return reinterpret_cast<char*>((address + step - 1) / step * step);
    }

    /// Whether the kernel itself attaches the segment there: an emulator that has reserved the
    /// addresses of its program does not let it.
    bool kernelAttachesAt(char* place) const
    {
        const bool attached = shmat(m_segment, place, 0) == place;
        return attached && shmdt(place) == 0;
    }

    /// Errno after an operation of which \p failed says that it failed.
    static int errorOf(bool failed)
    {
        const int error = errno;
        EXPECT_TRUE(failed);
        return error;
    }

    int give(unsigned short number, short steps, short flags = 0)
    {
        sembuf operation = {number, steps, flags};
        return m_semaphores.operation(m_set, &operation, 1);
    }

    support::TemporaryDirectory m_directory;
    SharedMemory m_memory;
    SharedSemaphore m_semaphores;
    int m_segment = -1;
    int m_set = -1;
};

/// The exit code of a second process that does \p work.
template <typename Work>
int secondProcess(Work work)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST_F(SystemV, keysComeFromAnExistingFileAndANumber)
{
    const std::string path = m_directory.file("key", "");
    EXPECT_EQ(ftok(path.c_str(), 5), SharedResource::getSharedResourceKey(path.c_str(), 5));
    EXPECT_NE(SharedResource::getSharedResourceKey(path.c_str(), 5),
              SharedResource::getSharedResourceKey(path.c_str(), 6));
    const std::string other = m_directory.file("other", "");
    EXPECT_NE(SharedResource::getSharedResourceKey(path.c_str(), 5),
              SharedResource::getSharedResourceKey(other.c_str(), 5));
}

TEST_F(SystemV, thereIsNoKeyOfAFileThatIsNotThere)
{
    const std::string path = m_directory.path("missing");
    errno = 0;
    EXPECT_EQ(ENOENT, errorOf(SharedResource::getSharedResourceKey(path.c_str(), 5) == -1));
}

TEST_F(SystemV, aSegmentIsSharedWithAnotherProcess)
{
    m_segment = m_memory.create(key(), SIZE, IPC_CREAT | IPC_EXCL | MODE);
    ASSERT_NE(-1, m_segment) << std::strerror(errno);
    auto* const text = static_cast<char*>(m_memory.attach(m_segment, nullptr, 0));
    ASSERT_NE(reinterpret_cast<char*>(-1), text);
    std::snprintf(text, SIZE, "from the first");
    EXPECT_EQ(0, secondProcess([&] {
                  SharedMemory memory;
                  const int found = memory.create(key(), 0, 0);
                  auto* const place = static_cast<char*>(memory.attach(found, nullptr, 0));
                  const bool same = std::strcmp(place, "from the first") == 0;
                  std::snprintf(place, SIZE, "from the second");
                  return found == m_segment && same && memory.detach(place) == 0 ? 0 : 1;
              }));
    EXPECT_STREQ("from the second", text);
    EXPECT_EQ(0, m_memory.detach(text));
}

TEST_F(SystemV, aSegmentHasTheSizeAndTheModeThatWereAskedFor)
{
    m_segment = m_memory.create(IPC_PRIVATE, SIZE, 0640);
    shmid_ds state{};
    EXPECT_EQ(0, m_memory.control(m_segment, IPC_STAT, &state));
    EXPECT_EQ(static_cast<size_t>(SIZE), state.shm_segsz);
    EXPECT_EQ(0640, state.shm_perm.mode & 0777);
    EXPECT_EQ(0U, state.shm_nattch);
    void* const place = m_memory.attach(m_segment, nullptr, 0);
    m_memory.control(m_segment, IPC_STAT, &state);
    EXPECT_EQ(1U, state.shm_nattch);
    m_memory.detach(place);
    m_memory.control(m_segment, IPC_STAT, &state);
    EXPECT_EQ(0U, state.shm_nattch);
}

TEST_F(SystemV, aSegmentOutlivesItsWrapperUntilItIsRemoved)
{
    m_segment = std::make_unique<SharedMemory>()->create(key(), SIZE, IPC_CREAT | MODE);
    EXPECT_EQ(m_segment, m_memory.create(key(), SIZE, MODE));
    EXPECT_EQ(0, m_memory.control(m_segment, IPC_RMID, nullptr));
    errno = 0;
    EXPECT_EQ(ENOENT, errorOf(m_memory.create(key(), SIZE, MODE) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_memory.control(m_segment, IPC_RMID, nullptr) == -1));
}

TEST_F(SystemV, aSegmentIsAttachedWhereAndHowTheCallerSays)
{
    m_segment = m_memory.create(IPC_PRIVATE, SIZE, MODE);
    char* const place = freePlace();
    if (!kernelAttachesAt(place)) {
        GTEST_SKIP() << "the kernel attaches no segment at a given address here";
    }
    EXPECT_EQ(place, m_memory.attach(m_segment, place, 0));
    ASSERT_EQ(0, m_memory.detach(place));
    errno = 0;
    EXPECT_EQ(EINVAL,
              errorOf(m_memory.attach(m_segment, place + 1, 0) == reinterpret_cast<void*>(-1)));
    EXPECT_EQ(place, m_memory.attach(m_segment, place + 1, SHM_RND));
    EXPECT_EQ(0, m_memory.detach(place));
}

TEST_F(SystemV, aSegmentsFailuresAreTheKernels)
{
    void* const failed = reinterpret_cast<void*>(-1);
    errno = 0;
    EXPECT_EQ(ENOENT, errorOf(m_memory.create(key(), SIZE, MODE) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_memory.create(key(), 0, IPC_CREAT | MODE) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_memory.create(key(), -1, IPC_CREAT | MODE) == -1));
    m_segment = m_memory.create(key(), SIZE, IPC_CREAT | MODE);
    EXPECT_EQ(EEXIST, errorOf(m_memory.create(key(), SIZE, IPC_CREAT | IPC_EXCL | MODE) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_memory.create(key(), 100 * SIZE, MODE) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_memory.attach(-1, nullptr, 0) == failed));
    char notAttached = 0;
    EXPECT_EQ(EINVAL, errorOf(m_memory.detach(&notAttached) == -1));
    shmid_ds state{};
    EXPECT_EQ(EINVAL, errorOf(m_memory.control(-1, IPC_STAT, &state) == -1));
    EXPECT_EQ(EFAULT, errorOf(m_memory.control(m_segment, IPC_STAT, nullptr) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_memory.control(m_segment, 4711, &state) == -1));
}

TEST_F(SystemV, aSemaphoreSetIsSharedWithAnotherProcess)
{
    m_set = m_semaphores.create(key(), 2, IPC_CREAT | IPC_EXCL | MODE);
    ASSERT_NE(-1, m_set) << std::strerror(errno);
    const pid_t second = fork();
    if (second == 0) {
        SharedSemaphore semaphores;
        sembuf takeAndAnswer[] = {{0, -1, 0}, {1, 3, 0}};
        const int found = semaphores.create(key(), 0, 0);
        _exit(semaphores.operation(found, takeAndAnswer, 2) == 0 ? 0 : 1);
    }
    EXPECT_TRUE(support::eventually([&] { return m_semaphores.control(m_set, 0, GETNCNT) == 1; }));
    EXPECT_EQ(0, m_semaphores.control(m_set, 1, GETVAL)) << "both operations or none";
    EXPECT_EQ(0, give(0, 1));
    int status = -1;
    waitpid(second, &status, 0);
    EXPECT_EQ(0, status);
    EXPECT_EQ(0, m_semaphores.control(m_set, 0, GETVAL));
    EXPECT_EQ(3, m_semaphores.control(m_set, 1, GETVAL));
    EXPECT_EQ(second, m_semaphores.control(m_set, 1, GETPID));
}

TEST_F(SystemV, aSemaphoreSetUndoesWhatAProcessThatEndedAskedFor)
{
    m_set = m_semaphores.create(IPC_PRIVATE, 1, MODE);
    EXPECT_EQ(0, secondProcess([&] { return give(0, 2, SEM_UNDO) + give(0, 1); }));
    EXPECT_EQ(1, m_semaphores.control(m_set, 0, GETVAL));
}

TEST_F(SystemV, aSemaphoreSetOutlivesItsWrapperUntilItIsRemoved)
{
    m_set = std::make_unique<SharedSemaphore>()->create(key(), 3, IPC_CREAT | MODE);
    EXPECT_EQ(m_set, m_semaphores.create(key(), 3, MODE));
    EXPECT_EQ(0, m_semaphores.control(m_set, 0, IPC_RMID));
    errno = 0;
    EXPECT_EQ(ENOENT, errorOf(m_semaphores.create(key(), 3, MODE) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_semaphores.control(m_set, 0, IPC_RMID) == -1));
}

TEST_F(SystemV, aSemaphoreSetsFailuresAreTheKernels)
{
    errno = 0;
    EXPECT_EQ(ENOENT, errorOf(m_semaphores.create(key(), 1, MODE) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_semaphores.create(key(), -1, IPC_CREAT | MODE) == -1));
    m_set = m_semaphores.create(key(), 2, IPC_CREAT | MODE);
    EXPECT_EQ(EEXIST, errorOf(m_semaphores.create(key(), 2, IPC_CREAT | IPC_EXCL | MODE) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_semaphores.create(key(), 3, MODE) == -1));
    EXPECT_EQ(EAGAIN, errorOf(give(0, -1, IPC_NOWAIT) == -1));
    EXPECT_EQ(EFBIG, errorOf(give(2, 1) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_semaphores.operation(m_set, nullptr, 0) == -1));
    EXPECT_EQ(E2BIG, errorOf(m_semaphores.operation(m_set, nullptr, 0x10000) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_semaphores.control(m_set, 2, GETVAL) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_semaphores.control(-1, 0, GETVAL) == -1));
    EXPECT_EQ(EINVAL, errorOf(m_semaphores.control(m_set, 0, 4711) == -1));
}

TEST_F(SystemV, aSemaphoreIsNeverTakenWithATimeout)
{
    m_set = m_semaphores.create(IPC_PRIVATE, 1, MODE);
    ASSERT_EQ(0, give(0, 1));
    sembuf take = {0, -1, 0};
    timespec longEnough = {60, 0};
    for (const int error : {0, EAGAIN, 4711}) {
        errno = error;
        EXPECT_EQ(-1, m_semaphores.timedOperation(m_set, &take, 1, &longEnough));
        EXPECT_EQ(error, errno);
        EXPECT_EQ(-1, m_semaphores.timedOperation(m_set, &take, 1, nullptr));
        EXPECT_EQ(-1, m_semaphores.timedOperation(-1, nullptr, 0, nullptr));
        EXPECT_EQ(error, errno);
    }
    EXPECT_EQ(1, m_semaphores.control(m_set, 0, GETVAL));
}

TEST(SharedResource, isDeletedThroughItsBase)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<SharedResource>);
    EXPECT_TRUE((std::is_base_of_v<SharedResource, SharedMemory>));
    EXPECT_TRUE((std::is_base_of_v<SharedResource, SharedSemaphore>));
    const std::unique_ptr<SharedResource> memory = std::make_unique<SharedMemory>();
    const std::unique_ptr<SharedResource> semaphores = std::make_unique<SharedSemaphore>();
}

TEST(SharedResource, canBeAClientsOwn)
{
    struct Mailbox : SharedResource {
        explicit Mailbox(bool& isGone) : m_isGone(isGone) {}
        ~Mailbox() override { m_isGone = true; }
        bool& m_isGone;
    };
    bool isGone = false;
    std::unique_ptr<SharedResource> resource = std::make_unique<Mailbox>(isGone);
    EXPECT_EQ(ftok("/", 7), resource->getSharedResourceKey("/", 7));
    resource.reset();
    EXPECT_TRUE(isGone);
}
