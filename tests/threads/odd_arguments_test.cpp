// Arguments that nobody should pass: they cost the call, never the process.
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <limits>

#include <gpal/GPALException.h>
#include <gpal/GPALMutex.h>
#include <gpal/GPALSleep.h>
#include <gpal/OSWrappers.h>
#include <gpal/semaphore_c_api.h>
#include <gpal/symbolInfo.h>
#include <gpal/syslogger.h>
#include <gpal/Threader.h>
#include <gpal/TimedThread.h>
#include <gpal/Wait.h>

#include "support/layer_threads.h"
#include "support/observed.h"

namespace
{

constexpr int LARGEST = std::numeric_limits<int>::max();
constexpr int SMALLEST = std::numeric_limits<int>::min();

struct Call {
    const char* name;
    std::function<long()> call;
    long result;
};

void* nothing(void* argument)
{
    return argument;
}

long joined(bool spawned, unsigned long id)
{
    Threader().waitForThreadCompletion(id);
    return spawned ? 1 : 0;
}

const Call CALLS[] = {
    {"take no semaphore", [] { return take_Semaphore(nullptr, LARGEST); }, 0},
    {"give no semaphore", [] { return give_Semaphore(nullptr); }, 0},
    {"delete no semaphore",
     [] {
         delete_Semaphore(nullptr);
         return 0;
     },
     0},
    {"dump all semaphores of none",
     [] {
         Semaphore::info(nullptr);
         return 0;
     },
     0},
    {"clean up after a thread that never was",
     [] {
         Semaphore::threadExitSemaphoreCleanup(0);
         Semaphore::threadExitSemaphoreCleanup(std::numeric_limits<unsigned long>::max());
         return 0;
     },
     0},
    {"clean up after no thread",
     [] {
         threadExitCleanUp(nullptr);
         return 0;
     },
     0},
    {"take with the largest count", [] { return Semaphore(LARGEST, -1, false).take(LARGEST); }, 1},
    {"give above the largest count",
     [] {
         Semaphore semaphore(LARGEST, -1, false);
         return semaphore.give();
     },
     1},
    {"take below the smallest count", [] { return Semaphore(SMALLEST, SMALLEST, false).take(0); },
     0},
    {"take with the smallest time-out", [] { return Semaphore(0, 1, false).take(SMALLEST); }, 0},
    {"wait with the smallest time-out", [] { return Wait().wait(SMALLEST); }, 0},
    {"spawn nothing",
     [] {
         unsigned long id = 0;
         return Threader().spawn(&id, static_cast<Threadable*>(nullptr), "",
                                 GPAL_THREAD_PRIORITY_LOW, 0)
                    ? 1
                    : 0;
     },
     0},
    {"spawn without an id",
     [] {
         support::Body body([] {});
         return Threader().spawn(nullptr, &body, "", GPAL_THREAD_PRIORITY_LOW, 0) ? 1 : 0;
     },
     0},
    {"spawn no function",
     [] {
         unsigned long id = 0;
         return Threader().spawn(&id, nullptr, nullptr, "", GPAL_THREAD_PRIORITY_LOW, 0) ? 1 : 0;
     },
     0},
    {"spawn a function without an id",
     [] {
         return Threader().spawn(nullptr, nothing, nullptr, "", GPAL_THREAD_PRIORITY_LOW, 0) ? 1
                                                                                             : 0;
     },
     0},
    {"spawn with the largest level and a long name",
     [] {
         unsigned long id = 0;
         const bool spawned = Threader().spawn(&id, nothing, nullptr, std::string(100000, 'x'),
                                               static_cast<GPALThreadPriority>(LARGEST), LARGEST);
         return joined(spawned, id);
     },
     1},
    {"spawn with the smallest level",
     [] {
         unsigned long id = 0;
         const bool spawned = Threader().spawn(&id, nothing, nullptr, "",
                                               static_cast<GPALThreadPriority>(SMALLEST), SMALLEST);
         return joined(spawned, id);
     },
     1},
    {"destroy no thread", [] { return Threader().destroy(0) ? 1 : 0; }, 0},
    {"join no thread", [] { return Threader().waitForThreadCompletion(0); }, ESRCH},
    {"detach no thread", [] { return Threader().detach(0); }, ESRCH},
    {"join a body that never ran", [] { return support::Body([] {}).waitForThreadCompletion(); },
     ESRCH},
    {"level of a thread that never was",
     [] {
         return Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW,
                                            std::numeric_limits<unsigned long>::max())
                    ? 1
                    : 0;
     },
     0},
    {"timed thread without work",
     [] {
         TimedThreadFactory factory;
         TimedThreadIfc* timedThread = factory.getNewTimedThread(nullptr);
         const int result = timedThread->runForAMaximumOf(LARGEST);
         factory.deleteTimedThread(timedThread);
         return result;
     },
     1},
    {"wait for a timed thread for the smallest time",
     [] {
         TimedThreadFactory factory;
         TimedThreadIfc* timedThread = factory.getNewTimedThread(nullptr);
         const int result = timedThread->waitForCompletion(SMALLEST);
         factory.deleteTimedThread(timedThread);
         return result;
     },
     0},
    {"delete no timed thread",
     [] { return TimedThreadFactory().deleteTimedThread(nullptr) ? 1 : 0; }, 0},
    {"mutex with an unknown initial state",
     [] {
         GPALMutex mutex(static_cast<MutexInitialState>(SMALLEST));
         return mutex.take() + mutex.give();
     },
     0},
    {"sleep for no time and less",
     [] {
         GPALSleep().milliSleep(0);
         GPALSleep().milliSleep(SMALLEST);
         GPALSleep().secSleep(0);
         return OSWrappers::sleepFor(0);
     },
     0},
    {"test the largest process id", [] { return OSWrappers::testPID(LARGEST) ? 1 : 0; }, 0},
    {"symbol at no address",
     [] { return static_cast<long>(symbolInfo::getSymbol(nullptr).size()); }, 0},
    {"symbol at the last address",
     [] {
         return static_cast<long>(
             symbolInfo::getSymbol(
                 reinterpret_cast<void*>(std::numeric_limits<unsigned long>::max()))
                 .size());
     },
     0},
    {"demangle nothing",
     [] {
         std::string name;
         return static_cast<long>(symbolInfo::demangleSymbol(name).size());
     },
     0},
    {"demangle what has no end",
     [] {
         std::string name = "_Z" + std::string(100000, 'N');
         return static_cast<long>(symbolInfo::demangleSymbol(name).size());
     },
     100002},
    {"log nothing",
     [] {
         for (const auto log : {syslogger_emergency, syslogger_error, syslogger_warning,
                                syslogger_notice, syslogger_info, syslogger_debug}) {
             log(nullptr);
         }
         return 0;
     },
     0},
};

} // namespace

TEST(OddArguments, costTheCallAndNothingElse)
{
    support::Captured output(1);
    support::RecordedLog log;
    for (const Call& odd : CALLS) {
        EXPECT_EQ(odd.call(), odd.result) << odd.name;
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST(OddArguments, areReportedAsEmptyTextsWhereTheDeviceIsRebooted)
{
    support::RecordedLog log;
    support::RecordedCommands commands(5);
    EXPECT_EQ(handleException(nullptr, nullptr), 5);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].text, "****** GPALThread - exception caught -  - ");
}
