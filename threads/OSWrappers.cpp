#include <gpal/OSWrappers.h>

#include <signal.h>
#include <unistd.h>

#include "cancelled.h"

unsigned int OSWrappers::sleepFor(int seconds)
{
    return gpal::detail::cancellably([=] { return sleep(static_cast<unsigned int>(seconds)); });
}

int OSWrappers::curID()
{
    return getpid();
}

int OSWrappers::curParentID()
{
    return getppid();
}

bool OSWrappers::testPID(int pid)
{
    return kill(pid, 0) >= 0;
}
