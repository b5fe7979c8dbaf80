// A process forks while its monitor waits for work. The child has no such thread, and yet it comes
// to its end, with the monitor's destructor.
#include <sys/types.h>

#include <gpal/osTimerThread.h>

#include "support/forked_exit.h"
#include "support/kernel_id.h"
#include "support/observed.h"

namespace
{

struct Monitor : osTimerThread {
    void run() override
    {
        m_kernelId = support::ownKernelId();
        osTimerThread::run();
    }

    pid_t m_kernelId = 0;
};

} // namespace

int main()
{
    static Monitor monitor;
    monitor.start();
    // A thread that is about to wait holds the condition's own lock.
    if (!support::eventually([] { return support::isAsleep(monitor.m_kernelId); })) {
        return 2;
    }
    support::exitInAForkedChild(5);
}
