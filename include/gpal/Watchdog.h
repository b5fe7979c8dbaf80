/// \file
/// The hardware watchdog, and processes by name.
#ifndef GPAL_WATCHDOG_H
#define GPAL_WATCHDOG_H

#include <string>

#include <gpal/export.h>

/// Talks to the driver of the system chip's watchdog through its control file
/// "/proc/driver/ifx_wdt". Each command is one write. Where there is no driver the commands do
/// nothing; nothing is reported. Callable from any thread. Nothing here is a cancellation point:
/// what was begun is finished first.
class GPAL_API Watchdog
{
public:
    Watchdog();
    ~Watchdog();

    /// Tells the driver to stop watching.
    void stopWatchdogMonitor();
    /// Tells the driver to start watching.
    void startWatchdogMonitor();
    /// Tells the driver that the system is alive.
    void kickWatchdog();

    /// Looks a process up by its program path, the first word of its command line.
    ///
    /// \param name part of that path, case-sensitive; "" matches every process
    /// \return the id of the first match in the order in which "/proc/" lists; 0 when there is
    ///         none, and for a match on an entry that is no process, such as "self"
    int getPIdByName(std::string name);
};

#endif
