#include <gpal/syslogger.h>

#include <gmock/gmock.h>
#include <syslog.h>

#include "support/observed.h"

using support::LogLine;
using testing::ElementsAre;

TEST(Syslogger, sendsEachSeverityAtItsPriorityExactlyAsFormatted)
{
    support::RecordedLog log;
    syslogger_emergency("%s %d", "a", 1);
    syslogger_error("b");
    syslogger_warning("100%% of %s", "c");
    syslogger_notice("d\n");
    syslogger_info("%c", 'e');
    syslogger_debug("%05.1f", 2.5);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{LOG_EMERG, "a 1"}, LogLine{LOG_ERR, "b"},
                            LogLine{LOG_WARNING, "100% of c"}, LogLine{LOG_NOTICE, "d\n"},
                            LogLine{LOG_INFO, "e"}, LogLine{LOG_DEBUG, "002.5"}));
}
