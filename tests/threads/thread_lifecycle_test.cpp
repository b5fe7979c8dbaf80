// From its first instruction to its last: what surrounds the work of a thread of the layer.
#include <gpal/Threader.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <thread>
#include <unistd.h>

#include <gpal/ProcessTypeString.h>
#include <gpal/Semaphore.h>

#include "support/kernel_id.h"
#include "support/layer_threads.h"
#include "support/replaceable.h"

namespace calls = support::calls;
using support::announced;
using support::announcedByName;
using support::Kind;
using support::LayerThread;
using support::priorityRequested;
using support::removed;
using testing::ElementsAre;

namespace
{

/// Whether the registry knows the calling thread (asked with the level that managers answer to).
bool isRegistered(unsigned long thread = 0)
{
    return Threader::setThreadPriority(GPAL_THREAD_PRIORITY_HIGH, thread);
}

/// Asks for an id that may be unknown and takes the entry that this leaves out again.
bool isStillRegistered(unsigned long thread)
{
    const bool registered = isRegistered(thread);
    threadExitCleanUp(&thread);
    return registered;
}

/// A semaphore that tells when it is given back.
class WatchedSemaphore : public Semaphore
{
public:
    explicit WatchedSemaphore(std::function<void()> whenGiven)
        : Semaphore(1, 1, false), m_whenGiven(std::move(whenGiven))
    {
    }
    int give() override
    {
        m_whenGiven();
        return Semaphore::give();
    }

private:
    std::function<void()> m_whenGiven;
};

class BothKindsOfThread : public testing::TestWithParam<Kind>
{
protected:
    support::Timeline m_timeline;
    support::RecordedManager m_manager{m_timeline};
};

INSTANTIATE_TEST_SUITE_P(Each, BothKindsOfThread, testing::Values(Kind::THREADABLE, Kind::FUNCTION),
                         support::nameOfKind);

} // namespace

TEST(ThreadOfABody, isAnnouncedByItsKernelIdThenRunsThenIsRemovedByItsThreadId)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    int kernelId = 0;
    LayerThread thread(Kind::THREADABLE, [&] {
        kernelId = support::ownKernelId();
        timeline.add("run");
    });
    EXPECT_EQ(nullptr, thread.join());
    EXPECT_NE(getpid(), kernelId) << "its own id, not the process's";
    EXPECT_THAT(timeline.events(),
                ElementsAre(announced(ProcessTypeString::GENERIC_THREAD, kernelId), "run",
                            removed(thread.id())));
}

TEST(ThreadOfAFunction, isAnnouncedThenGetsItsPriorityThenRunsThenIsRemovedByItsThreadId)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    int kernelId = 0;
    LayerThread thread(Kind::FUNCTION, [&] {
        kernelId = support::ownKernelId();
        timeline.add("run");
    });
    EXPECT_EQ(nullptr, thread.join());
    EXPECT_NE(getpid(), kernelId) << "its own id, not the process's";
    EXPECT_THAT(timeline.events(),
                ElementsAre(announcedByName(ProcessTypeString::C_THREAD_NORMAL, kernelId),
                            priorityRequested(kernelId, GPAL_THREAD_PRIORITY_NORMAL), "run",
                            removed(thread.id())));
}

TEST(ThreadOfAFunction, runsWhateverTheManagerAnswersToItsPriority)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    manager.answer = [](GPALThreadPriority) { return -1; };
    bool run = false;
    LayerThread(Kind::FUNCTION, [&] { run = true; }).join();
    EXPECT_TRUE(run);
}

TEST_P(BothKindsOfThread, isAnnouncedOnTheThreadItself)
{
    unsigned long announcedOn = 0;
    unsigned long removedOn = 0;
    m_manager.whenAnnounced = [&] { announcedOn = pthread_self(); };
    m_manager.whenRemoved = [&] { removedOn = pthread_self(); };
    LayerThread thread(GetParam(), [] {});
    thread.join();
    EXPECT_EQ(thread.id(), announcedOn);
    EXPECT_EQ(thread.id(), removedOn);
}

TEST_P(BothKindsOfThread, isRegisteredFromBeforeItsAnnouncementUntilAfterItsRemoval)
{
    bool whenAnnounced = false;
    bool whenRunning = false;
    bool whenRemoved = false;
    m_manager.whenAnnounced = [&] { whenAnnounced = isRegistered(); };
    m_manager.whenRemoved = [&] { whenRemoved = isRegistered(); };
    LayerThread thread(GetParam(), [&] { whenRunning = isRegistered(); });
    thread.join();
    m_manager.whenRemoved = [] {};
    EXPECT_TRUE(whenAnnounced);
    EXPECT_TRUE(whenRunning);
    EXPECT_TRUE(whenRemoved);
    EXPECT_FALSE(isStillRegistered(thread.id()));
}

TEST_P(BothKindsOfThread, calledItsManagerWithTheRegistryFree)
{
    bool inside = false;
    m_manager.answer = [&](GPALThreadPriority level) {
        if (level == GPAL_THREAD_PRIORITY_LOW) {
            inside = isRegistered();
        }
        return level;
    };
    LayerThread(GetParam(), [] {
        Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, 0);
    }).join();
    EXPECT_TRUE(inside);
}

TEST_P(BothKindsOfThread, givesItsSemaphoresBackOnceItIsOutOfManagerAndRegistry)
{
    bool registered = true;
    WatchedSemaphore semaphore([&] {
        registered = isRegistered();
        m_timeline.add("given");
    });
    int whenRemoved = Semaphore::AVAILABLE;
    m_manager.whenRemoved = [&] { whenRemoved = semaphore.take(0); };
    LayerThread thread(GetParam(), [&] { semaphore.take(-1); });
    thread.join();
    m_manager.whenRemoved = [] {};
    const std::vector<std::string> events = m_timeline.events();
    EXPECT_THAT(std::vector<std::string>(events.end() - 2, events.end()),
                ElementsAre(removed(thread.id()), "given"));
    EXPECT_EQ(Semaphore::NOT_AVAILABLE, whenRemoved);
    EXPECT_FALSE(registered);
    EXPECT_EQ(Semaphore::AVAILABLE, semaphore.take(0));
    unsigned long id = thread.id();
    threadExitCleanUp(&id); // takes out the entry that asking has left
}

TEST_P(BothKindsOfThread, leavesTheSemaphoresOfOthersAlone)
{
    Semaphore semaphore(1, 1, false);
    semaphore.take(-1);
    LayerThread(GetParam(), [] {}).join();
    EXPECT_EQ(Semaphore::NOT_AVAILABLE, semaphore.take(0));
    semaphore.give();
}

TEST_P(BothKindsOfThread, keepsAnEntryThatItsIdHasAlreadyAndIsOutOfTheRegistryAfterItsEnd)
{
    // The thread's id is asked for, in vain, just before the layer starts on it; then a second
    // start on the same thread shows what the end of the first has left behind.
    static void* (*layersStart)(void*) = nullptr;
    static bool twice = false;
    twice = GetParam() == Kind::THREADABLE; // the block of a function thread is used up
    static bool registeredBefore = true;
    support::Replacement create(calls::pthread_create, [](pthread_t* thread,
                                                          const pthread_attr_t* attributes,
                                                          void* (*start)(void*), void* argument) {
        layersStart = start;
        const auto askFirst = [](void* given) -> void* {
            registeredBefore = isRegistered();
            void* const result = layersStart(given);
            return twice ? layersStart(given) : result;
        };
        return calls::pthread_create.original(thread, attributes, askFirst, argument);
    });
    std::vector<bool> registered;
    LayerThread thread(GetParam(), [&] { registered.push_back(isRegistered()); });
    thread.join();
    EXPECT_FALSE(registeredBefore);
    ASSERT_EQ(twice ? 2U : 1U, registered.size());
    EXPECT_FALSE(registered[0]) << "the entry of the id that nobody knew";
    EXPECT_EQ(twice, registered.back());
}

TEST(ThreadOfAFunction, getsNoPriorityUnderAnIdThatWasAskedForInVain)
{
    // As in life: an id that was asked for in vain comes back as that of a function thread, whose
    // own priority is then not requested.
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    static void* (*layersStart)(void*) = nullptr;
    support::Replacement create(calls::pthread_create, [](pthread_t* thread,
                                                          const pthread_attr_t* attributes,
                                                          void* (*start)(void*), void* argument) {
        layersStart = start;
        const auto askFirst = [](void* given) -> void* {
            isRegistered();
            return layersStart(given);
        };
        return calls::pthread_create.original(thread, attributes, askFirst, argument);
    });
    int kernelId = 0;
    LayerThread thread(Kind::FUNCTION, [&] { kernelId = support::ownKernelId(); });
    thread.join();
    EXPECT_THAT(timeline.events(),
                ElementsAre(announcedByName(ProcessTypeString::C_THREAD_NORMAL, kernelId),
                            removed(thread.id())));
}

TEST_P(BothKindsOfThread, leavesTheWholeLayerUsableByManyOthers)
{
    constexpr std::size_t THREADS = 20;
    std::atomic<int> run{0};
    {
        std::vector<std::unique_ptr<LayerThread>> threads;
        for (std::size_t thread = 0; thread < THREADS; ++thread) {
            threads.push_back(std::make_unique<LayerThread>(GetParam(), [&] {
                if (isRegistered()) {
                    ++run;
                }
            }));
        }
    }
    EXPECT_EQ(static_cast<int>(THREADS), run);
}

TEST(ThreadExitCleanUp, servesThreadsThatOthersMake)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    Semaphore semaphore(1, 1, false);
    unsigned long id = 0;
    std::thread([&] {
        id = pthread_self();
        pthread_cleanup_push(threadExitCleanUp, &id);
        semaphore.take(-1);
        timeline.add("work");
        pthread_cleanup_pop(1);
        timeline.add(semaphore.take(0) == Semaphore::AVAILABLE ? "given back" : "kept");
        semaphore.give();
    }).join();
    EXPECT_THAT(timeline.events(), ElementsAre("work", removed(id), "given back"));
}

TEST(ThreadExitCleanUp, isAboutTheThreadThatItsArgumentNames)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    unsigned long noThread = ~0UL - 4711;
    threadExitCleanUp(&noThread);
    EXPECT_THAT(timeline.events(), ElementsAre(removed(noThread)));
}

TEST(ThreadExitCleanUp, isOfferedToCCallers)
{
    EXPECT_NE(nullptr, dlsym(RTLD_DEFAULT, "threadExitCleanUp"));
}
