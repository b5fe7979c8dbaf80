// A process forks while its monitor waits for work. The child has no such thread, and yet it comes
// to its end, with the monitor's destructor.
#include <gpal/osTimerThread.h>

#include "support/forked_exit.h"

int main()
{
    static osTimerThread monitor;
    monitor.start();
    monitor.remove(nullptr); // takes the list, which the monitor gives back when it waits
    support::exitInAForkedChild(5);
}
