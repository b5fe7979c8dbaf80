#include <gpal/GPALException.h>

#include <dlfcn.h>
#include <exception>
#include <gmock/gmock.h>
#include <pthread.h>
#include <syslog.h>
#include <thread>
#include <type_traits>

#include <gpal/Process.h>

#include "support/layer_threads.h"
#include "support/observed.h"

using support::LogLine;
using testing::ElementsAre;

static_assert(std::is_empty_v<GPALException> && !std::is_polymorphic_v<GPALException>,
              "clients derive from it and throw it across libraries: nothing in it may change");
static_assert(!std::is_base_of_v<std::exception, GPALException>,
              "handlers for standard exceptions must let it pass");
static_assert(std::is_convertible_v<GPALProcessException*, GPALException*>,
              "handlers for the layer's exceptions catch those of processes");
static_assert(sizeof gpalThread_exceptionOccured == 1, "other components see it as one byte");

namespace
{

class DisplayException : public GPALException
{
};

} // namespace

TEST(GPALException, passesHandlersForStandardExceptions)
{
    std::string caughtAs;
    try {
        try {
            throw DisplayException();
        } catch (const std::exception&) {
            caughtAs = "a standard exception";
        }
    } catch (const GPALException&) {
        caughtAs = "one of the layer's";
    }
    EXPECT_EQ("one of the layer's", caughtAs);
}

TEST(GPALException, isTheRootOfTheProcessException)
{
    EXPECT_THROW(throw GPALProcessException("text"), GPALException);
}

TEST(ExceptionFlag, isFalseInAFreshProcess)
{
    EXPECT_FALSE(gpalThread_exceptionOccured);
}

TEST(ExceptionFlag, isExportedUnderItsOwnSpelling)
{
    EXPECT_EQ(&gpalThread_exceptionOccured, dlsym(RTLD_DEFAULT, "gpalThread_exceptionOccured"));
}

TEST(ExceptionFlag, staysFalseWhenAnExceptionIsHandled)
{
    support::RecordedLog log;
    support::RecordedCommands shell;
    handleException("Ringer", "out of memory");
    EXPECT_FALSE(gpalThread_exceptionOccured);
}

TEST(ExceptionFlag, isLeftAsOtherComponentsSetIt)
{
    support::RecordedLog log;
    support::RecordedCommands shell;
    gpalThread_exceptionOccured = true;
    handleException("Ringer", "out of memory");
    EXPECT_TRUE(gpalThread_exceptionOccured);
    EXPECT_EQ(std::vector<std::string>{"reboot"}, shell.commands());
    gpalThread_exceptionOccured = false;
}

TEST(HandleException, reportsAtEmergencySeverityAndThenRebootsOnce)
{
    support::Timeline timeline;
    support::Replacement log(support::calls::vsyslog,
                             [&](int priority, const char* format, va_list arguments) {
                                 char text[200];
                                 std::vsnprintf(text, sizeof text, format, arguments);
                                 timeline.add(std::to_string(priority) + ": " + text);
                             });
    support::Replacement shell(support::calls::system, [&](const char* command) {
        timeline.add(command);
        return 0;
    });
    handleException("Ringer", "out of memory");
    EXPECT_THAT(
        timeline.events(),
        ElementsAre("0: ****** GPALThread - exception caught - Ringer - out of memory", "reboot"));
}

TEST(HandleException, takesItsTextsLiterally)
{
    support::RecordedLog log;
    support::RecordedCommands shell;
    handleException("Map<%s>", "100%n full");
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{
                    LOG_EMERG, "****** GPALThread - exception caught - Map<%s> - 100%n full"}));
}

TEST(HandleException, leavesTheSecondFieldEmptyWithoutAText)
{
    support::RecordedLog log;
    support::RecordedCommands shell;
    handleException("Ringer", "");
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{
                                 LOG_EMERG, "****** GPALThread - exception caught - Ringer - "}));
}

TEST(HandleException, returnsWhatTheRebootCommandReturned)
{
    support::RecordedLog log;
    for (const int result : {0, -1, 256}) {
        support::RecordedCommands shell(result);
        EXPECT_EQ(result, handleException("Ringer", "x"));
        EXPECT_EQ(std::vector<std::string>{"reboot"}, shell.commands()) << "tried once";
    }
}

TEST(HandleException, isOfferedToCCallers)
{
    EXPECT_EQ(reinterpret_cast<void*>(&handleException), dlsym(RTLD_DEFAULT, "handleException"));
}

TEST(HandleException, getsItsReportOutOfAThreadThatIsBeingCancelled)
{
    std::atomic<bool> logged{false};
    support::Replacement log(support::calls::vsyslog, [&](int, const char*, va_list) {
        pthread_testcancel(); // the system log is a cancellation point
        logged = true;
    });
    support::RecordedCommands shell;
    std::atomic<bool> cancelled{false};
    std::thread thread([&] {
        pthread_cancel(pthread_self());
        cancelled = true;
        handleException("Ringer", "x");
        support::stayUntilCancelled();
    });
    thread.join();
    EXPECT_TRUE(cancelled);
    EXPECT_TRUE(logged);
    EXPECT_EQ(std::vector<std::string>{"reboot"}, shell.commands());
}
