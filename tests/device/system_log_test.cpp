// Lines as they come out of the device's own log daemon.
#include <gpal/syslogger.h>

#include <string>
#include <sys/types.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "device/booted.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

namespace
{

using SystemLog = devicetest::OnTheDevice;

} // namespace

TEST_F(SystemLog, showsEachSeverityWithTheTextAsFormattedAndNothingBeside)
{
    openlog("device_test", 0, LOG_USER); // not every C library knows the program's name by itself
    const std::string mark = "number " + std::to_string(getpid());
    syslogger_emergency("%s: %d%%", mark.c_str(), 1);
    syslogger_error("%s: %d%%", mark.c_str(), 2);
    syslogger_warning("%s: %d%%", mark.c_str(), 3);
    syslogger_notice("%s: %d%%", mark.c_str(), 4);
    syslogger_info("%s: %d%%", mark.c_str(), 5);
    syslogger_debug("%s: %d%%", mark.c_str(), 6);
    std::string shown;
    EXPECT_TRUE(support::eventually([&] {
        shown = support::contentOf("/tmp/messages");
        return shown.find(mark + ": 6%\n") != std::string::npos;
    }));
    int number = 0;
    for (const char* severity : {"emerg", "err", "warn", "notice", "info", "debug"}) {
        const std::string line = std::string(" user.") + severity + " device_test: " + mark + ": " +
                                 std::to_string(++number) + "%\n";
        EXPECT_NE(shown.find(line), std::string::npos) << line;
    }
}
