// What goes to the system log, written down.
#include <cerrno>
#include <syslog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/syslogger.h>
#include <gpal/testing/SystemLogRecorder.h>

namespace
{

using gpal::testing::LogLine;
using gpal::testing::SystemLogRecorder;
using testing::ElementsAre;

TEST(SystemLogRecorder, remembersWhatTheLayerLogs)
{
    const SystemLogRecorder log;
    syslogger_warning("%d calls are waiting", 3);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_WARNING, "3 calls are waiting"}));
}

TEST(SystemLogRecorder, remembersWhatTheApplicationLogs)
{
    const SystemLogRecorder log;
    errno = ENOENT;
    syslog(LOG_LOCAL0 | LOG_ERR, "no ringtone: %m");
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_LOCAL0 | LOG_ERR,
                                                 "no ringtone: No such file or directory"}));
}

TEST(SystemLogRecorder, takesMessagesOfAnyLength)
{
    const SystemLogRecorder log;
    const std::string text(5000, 'x');
    syslogger_info("%s", "");
    syslogger_info("%s", text.c_str());
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_INFO, ""}, LogLine{LOG_INFO, text}));
}

TEST(SystemLogRecorder, leavesTheSystemsLogInForce)
{
    {
        const SystemLogRecorder log;
    }
    testing::internal::CaptureStderr();
    openlog("doubles_test", LOG_PERROR, LOG_USER);
    syslogger_error("to the system's %s", "log");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("doubles_test: to the system's log"));
}

} // namespace
