// What becomes of exceptions in threads of the layer.
#include <gpal/Threader.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <gmock/gmock.h>
#include <new>
#include <stdexcept>
#include <syslog.h>
#include <unistd.h>

#include <gpal/Process.h>

#include "support/layer_threads.h"
#include "support/observed.h"
#include "support/soft_limit.h"

using support::Kind;
using support::LayerThread;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace phone
{

class DisplayException : public GPALException
{
};

class OwnStandardException : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
    const char* what() const noexcept override { return "own text, 100%s"; }
};

template <typename Tone>
class Ringer : public support::Body
{
    using Body::Body;
};

class Bell
{
};

} // namespace phone

namespace
{

/// Lets a body throw and returns all that happened, the log and the shell included.
std::vector<std::string> eventsOf(std::function<void()> work, int rebootResult = 0)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    support::Replacement log(support::calls::vsyslog,
                             [&](int priority, const char* format, va_list arguments) {
                                 char text[300];
                                 std::vsnprintf(text, sizeof text, format, arguments);
                                 timeline.add(std::to_string(priority) + ": " + text);
                             });
    support::Replacement shell(support::calls::system, [&](const char* command) {
        timeline.add(std::string("shell: ") + command);
        return rebootResult;
    });
    manager.whenRemoved = [&] { timeline.add("clean-up"); };
    phone::Ringer<phone::Bell> body(std::move(work));
    unsigned long id = 0;
    Threader().spawn(&id, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    void* result = &timeline;
    pthread_join(id, &result);
    EXPECT_EQ(nullptr, result);
    std::vector<std::string> events = timeline.events();
    EXPECT_THAT(events.front(), HasSubstr("announced"));
    events.erase(events.begin());
    EXPECT_EQ(support::removed(id), events.at(events.size() - 2));
    events.erase(events.end() - 2);
    return events;
}

std::string report(const std::string& what)
{
    return "0: ****** GPALThread - exception caught - phone::Ringer<phone::Bell> - " + what;
}

/// Ends the process, as it would end in the field, but without a core file; what it would have
/// logged or run first is written to standard error.
void terminateFromThread(Kind kind, const std::function<void()>& whenAnnounced,
                         const std::function<void()>& work)
{
    support::Replacement log(support::calls::vsyslog, [](int, const char*, va_list) {
        std::fputs("something was logged\n", stderr);
    });
    support::Replacement shell(support::calls::system, [](const char*) {
        return std::fputs("something was run\n", stderr);
    });
    std::set_terminate([] {
        std::fputs("terminated\n", stderr);
        std::abort(); // no _Exit: where threads are processes, that ends the thread alone
    });
    const support::SoftLimit noCoreFile(RLIMIT_CORE, 0);
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    manager.whenAnnounced = whenAnnounced;
    LayerThread(kind, work).join();
    std::fputs("went on\n", stderr);
}

const auto TERMINATED_AT_ONCE =
    AllOf(HasSubstr("terminated"), Not(HasSubstr("something was")), Not(HasSubstr("went on")));

} // namespace

TEST(EscapedException, ofAStandardKindIsReportedWithItsTextAndRebootsThenTheThreadEndsNormally)
{
    EXPECT_THAT(eventsOf([] { throw std::runtime_error("no tone"); }),
                ElementsAre(report("no tone"), "shell: reboot", "clean-up"));
    EXPECT_THAT(eventsOf([] { throw phone::OwnStandardException("hidden"); }),
                ElementsAre(report("own text, 100%s"), "shell: reboot", "clean-up"));
    EXPECT_THAT(eventsOf([] { throw std::bad_alloc(); }),
                ElementsAre(report(std::bad_alloc().what()), "shell: reboot", "clean-up"));
}

TEST(EscapedException, ofTheLayersOwnKindIsReportedWithoutAText)
{
    EXPECT_THAT(eventsOf([] { throw phone::DisplayException(); }),
                ElementsAre(report(""), "shell: reboot", "clean-up"));
    EXPECT_THAT(eventsOf([] { throw GPALProcessException("not shown"); }),
                ElementsAre(report(""), "shell: reboot", "clean-up"));
}

TEST(EscapedException, ofAnyOtherKindIsReportedWithoutAText)
{
    EXPECT_THAT(eventsOf([] { throw 42; }), ElementsAre(report(""), "shell: reboot", "clean-up"));
    EXPECT_THAT(eventsOf([] { throw "text"; }),
                ElementsAre(report(""), "shell: reboot", "clean-up"));
}

TEST(EscapedException, isDoneWithOnceEvenIfTheRebootFails)
{
    EXPECT_THAT(eventsOf([] { throw 42; }, -1),
                ElementsAre(report(""), "shell: reboot", "clean-up"));
}

TEST(EscapedException, leavesTheFlagForOthersAlone)
{
    eventsOf([] { throw std::runtime_error("no tone"); });
    EXPECT_FALSE(gpalThread_exceptionOccured);
}

TEST(EscapedException, isNoneWhenTheBodyHandlesIt)
{
    EXPECT_THAT(eventsOf([] {
                    try {
                        throw std::runtime_error("handled");
                    } catch (const std::exception&) {
                    }
                }),
                ElementsAre("clean-up"));
}

TEST(EscapedException, fromThePlainFunctionOfAThreadTerminatesWithoutALogLine)
{
    EXPECT_EXIT(terminateFromThread(
                    Kind::FUNCTION, [] {}, [] { throw std::runtime_error("x"); }),
                testing::KilledBySignal(SIGABRT), TERMINATED_AT_ONCE);
}

TEST(EscapedException, fromTheAnnouncementOfABodyTerminatesWithoutALogLine)
{
    EXPECT_EXIT(terminateFromThread(
                    Kind::THREADABLE, [] { throw std::runtime_error("x"); }, [] {}),
                testing::KilledBySignal(SIGABRT), TERMINATED_AT_ONCE);
}

TEST(EscapedException, fromTheAnnouncementOfAFunctionTerminatesWithoutALogLine)
{
    EXPECT_EXIT(terminateFromThread(
                    Kind::FUNCTION, [] { throw 42; }, [] {}),
                testing::KilledBySignal(SIGABRT), TERMINATED_AT_ONCE);
}
