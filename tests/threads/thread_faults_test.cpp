// Threads of a process that runs out of memory.
#include <gpal/Threader.h>

#include <cstdarg>
#include <cstdio>
#include <gmock/gmock.h>
#include <new>
#include <optional>
#include <pthread.h>
#include <string>
#include <utility>

#include <gpal/GPALException.h>
#include <gpal/ProcessManager.h>

#include "support/failing_allocations.h"
#include "support/layer_threads.h"
#include "support/observed.h"

using support::FailingAllocations;
using support::LayerThread;

namespace
{

class ThreadWithoutMemory : public testing::TestWithParam<support::Kind>
{
};

class OutOfMemory : public Threadable
{
public:
    void run() override
    {
        m_memory.emplace();
        throw std::bad_alloc();
    }

    std::optional<FailingAllocations> m_memory;
};

/// Keeps the name that a function's thread is announced with.
class Announced : public ProcessManager
{
public:
    Announced() : ProcessManager(nullptr) {}
    using ProcessManager::addThread;
    int addThread(int /*threadId*/, std::string name) override
    {
        m_name = std::move(name);
        return 1;
    }

    std::string m_name;
};

const std::string LONG_NAME = "a name that does not fit into a string by itself";

/// Whether a function's thread of that name runs, with no memory from its first instruction on.
bool runsWithoutMemory(const std::string& name)
{
    std::optional<FailingAllocations> memory;
    bool struck = false;
    bool ran = false;
    const support::Replacement create(
        support::calls::pthread_create, [&](pthread_t* thread, const pthread_attr_t* attributes,
                                            void* (*body)(void*), void* argument) {
            memory.emplace(0, FailingAllocations::OF_ALL_THREADS);
            const int error =
                support::calls::pthread_create.original(thread, attributes, body, argument);
            pthread_join(*thread, nullptr);
            struck = FailingAllocations::struck();
            memory.reset();
            return error;
        });
    unsigned long id = 0;
    void* (*work)(void*) = [](void* ranTo) -> void* {
        *static_cast<bool*>(ranTo) = true;
        return nullptr;
    };
    Threader().spawn(&id, work, &ran, name, GPAL_THREAD_PRIORITY_NORMAL, 0);
    return struck && ran;
}

std::string nameOf(const testing::TestParamInfo<support::Kind>& kind)
{
    return kind.param == support::Kind::THREADABLE ? "Threadable" : "Function";
}

} // namespace

TEST_P(ThreadWithoutMemory, runsAlthoughItCannotBeRegistered)
{
    bool struck = false;
    bool levelSet = true;
    std::optional<FailingAllocations> memory;
    const support::Replacement create(
        support::calls::pthread_create, [&](pthread_t* thread, const pthread_attr_t* attributes,
                                            void* (*body)(void*), void* argument) {
            memory.emplace(0, FailingAllocations::OF_ALL_THREADS);
            return support::calls::pthread_create.original(thread, attributes, body, argument);
        });
    LayerThread thread(GetParam(), [&] {
        struck = FailingAllocations::struck();
        memory.reset();
        memory.emplace();
        levelSet = Threader::setThreadPriority(GPAL_THREAD_PRIORITY_NORMAL, 0);
        memory.reset();
    });
    thread.join();
    EXPECT_TRUE(struck);
    EXPECT_FALSE(levelSet) << "nobody knows its kernel id";
}

INSTANTIATE_TEST_SUITE_P(Kinds, ThreadWithoutMemory,
                         testing::Values(support::Kind::THREADABLE, support::Kind::FUNCTION),
                         nameOf);

TEST(NamedThreadWithoutMemory, isAnnouncedUnderItsWholeName)
{
    auto* announced = new Announced;
    ProcessManagement::initialize(announced);
    EXPECT_TRUE(runsWithoutMemory(LONG_NAME));
    EXPECT_EQ(announced->m_name, LONG_NAME);
    ProcessManagement::uninitialize();
}

TEST(NamedThreadWithoutMemory, isAnnouncedToTheLibrarysOwnManager)
{
    EXPECT_TRUE(runsWithoutMemory(LONG_NAME));
}

TEST(ExceptionWithoutMemory, isReportedUnderTheBodysMangledName)
{
    std::string logged;
    logged.reserve(200);
    std::string commands;
    const support::Replacement log(support::calls::vsyslog,
                                   [&](int, const char* format, va_list arguments) {
                                       char text[200];
                                       std::vsnprintf(text, sizeof text, format, arguments);
                                       logged = text;
                                   });
    const support::Replacement system(support::calls::system, [&](const char* command) {
        commands += command;
        return 0;
    });
    OutOfMemory body;
    unsigned long id = 0;
    EXPECT_TRUE(Threader().spawn(&id, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0));
    EXPECT_EQ(Threader().waitForThreadCompletion(id), 0);
    body.m_memory.reset();
    EXPECT_THAT(logged, testing::StartsWith("****** GPALThread - exception caught - "));
    EXPECT_THAT(logged, testing::HasSubstr("OutOfMemory"));
    EXPECT_EQ(commands, "reboot");
}
