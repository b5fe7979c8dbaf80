// A client that is built without run-time type information: a body that lets an exception escape,
// and a timer of a class of its own.
#include <cstdarg>
#include <cstring>
#include <string>

#include <gpal/gpal.h>

namespace
{

std::string logged;

struct Thrower : Threadable {
    void run() override { throw 1; }
};

struct OwnTimer : osThreadBasedTimer {
    using osThreadBasedTimer::osThreadBasedTimer;
};

struct Receiver : timeAble {
    int timerExpired(osTimerIfc* /*timer*/) override { return expired.signal(); }

    Wait expired;
};

bool isReportedWithoutAName()
{
    Thrower body;
    unsigned long id = 0;
    Threader threader;
    threader.spawn(&id, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    threader.waitForThreadCompletion(id);
    return logged == "****** GPALThread - exception caught -  - then reboot";
}

bool isCalledBack()
{
    osTimerThread monitor;
    monitor.start();
    Receiver receiver;
    OwnTimer timer(&receiver, 50, nullptr);
    timer.start();
    return receiver.expired.wait(10000) == 1;
}

} // namespace

extern "C" {

void vsyslog(int /*priority*/, const char* format, va_list arguments)
{
    char text[300];
    std::vsnprintf(text, sizeof text, format, arguments);
    logged += text;
}

// A hardened library calls it by this name.
void __vsyslog_chk(int priority, int /*flag*/, const char* format, va_list arguments)
{
    vsyslog(priority, format, arguments);
}

int system(const char* command)
{
    logged += std::string("then ") + command;
    return 0;
}
}

int main(int /*count*/, char** arguments)
{
    const bool done =
        std::strcmp(arguments[1], "body") == 0 ? isReportedWithoutAName() : isCalledBack();
    return done ? 0 : 1;
}
