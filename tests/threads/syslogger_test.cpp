#include <gpal/syslogger.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <syslog.h>
#include <thread>

#include "support/observed.h"
#include "support/replaceable.h"

using support::LogLine;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

namespace
{

int logSettingsTouched = 0;

void debugThroughList(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsyslogger_debug(format, arguments);
    va_end(arguments);
}

void logAtEverySeverity()
{
    syslogger_emergency("%s %d", "a", 1);
    syslogger_error("b");
    syslogger_warning("100%% of %s", "c");
    syslogger_notice("d\n");
    syslogger_info("%c", 'e');
    syslogger_debug("%05.1f", 2.5);
    debugThroughList("%s and %ld", "f", -7L);
}

} // namespace

// Who the hosting process is in the log, and what it lets pass, is for that process alone to say.
extern "C" {
void openlog(const char* /*identity*/, int /*options*/, int /*facility*/)
{
    ++logSettingsTouched;
}
void closelog()
{
    ++logSettingsTouched;
}
int setlogmask(int /*mask*/) noexcept
{
    ++logSettingsTouched;
    return 0;
}
}

TEST(Syslogger, sendsEachSeverityAtItsPriorityExactlyAsFormatted)
{
    support::RecordedLog log;
    logAtEverySeverity();
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{LOG_EMERG, "a 1"}, LogLine{LOG_ERR, "b"},
                            LogLine{LOG_WARNING, "100% of c"}, LogLine{LOG_NOTICE, "d\n"},
                            LogLine{LOG_INFO, "e"}, LogLine{LOG_DEBUG, "002.5"},
                            LogLine{LOG_DEBUG, "f and -7"}));
}

TEST(Syslogger, usesTheBareSeveritiesWithoutAFacility)
{
    support::RecordedLog log;
    logAtEverySeverity();
    std::vector<int> priorities;
    for (const LogLine& line : log.lines()) {
        priorities.push_back(line.priority);
    }
    EXPECT_THAT(priorities, ElementsAre(0, 3, 4, 5, 6, 7, 7));
}

TEST(Syslogger, handsTheFormatOnUntouched)
{
    const char format[] = "%d rings";
    std::vector<const char*> formats;
    support::Replacement log(support::calls::vsyslog,
                             [&](int, const char* given, va_list) { formats.push_back(given); });
    syslogger_emergency(format, 1);
    syslogger_error(format, 1);
    syslogger_warning(format, 1);
    syslogger_notice(format, 1);
    syslogger_info(format, 1);
    syslogger_debug(format, 1);
    debugThroughList(format, 1);
    EXPECT_THAT(formats, SizeIs(7));
    EXPECT_THAT(formats, Each(static_cast<const char*>(format)));
}

TEST(Syslogger, leavesTheProcessesLogSettingsAlone)
{
    support::RecordedLog log;
    logAtEverySeverity();
    EXPECT_EQ(0, logSettingsTouched);
}

TEST(Syslogger, writesToNoStream)
{
    support::RecordedLog log;
    support::Captured output(1);
    support::Captured errors(2);
    logAtEverySeverity();
    EXPECT_EQ("", output.text());
    EXPECT_EQ("", errors.text());
}

TEST(Syslogger, takesMessagesFromSeveralThreadsAtOnce)
{
    constexpr int EACH = 100;
    support::RecordedLog log;
    const auto chatter = [] {
        for (int message = 0; message < EACH; ++message) {
            syslogger_info("%s-%d", "line", 4711);
        }
    };
    std::thread first(chatter);
    std::thread second(chatter);
    first.join();
    second.join();
    EXPECT_THAT(log.lines(), SizeIs(2 * EACH));
    EXPECT_THAT(log.lines(), Each(LogLine{LOG_INFO, "line-4711"}));
}

TEST(Syslogger, offersItsFunctionsToCCallersUnderTheirPlainNames)
{
    for (const char* name :
         {"syslogger_emergency", "syslogger_error", "syslogger_warning", "syslogger_notice",
          "syslogger_info", "syslogger_debug", "vsyslogger_debug"}) {
        EXPECT_NE(nullptr, dlsym(RTLD_DEFAULT, name)) << name;
    }
}

TEST(Syslogger, hasNoOtherSeveritiesAndOnlyOneListForm)
{
    for (const char* name :
         {"syslogger_alert", "syslogger_critical", "vsyslogger_emergency", "vsyslogger_error",
          "vsyslogger_warning", "vsyslogger_notice", "vsyslogger_info"}) {
        EXPECT_EQ(nullptr, dlsym(RTLD_DEFAULT, name)) << name;
    }
}
