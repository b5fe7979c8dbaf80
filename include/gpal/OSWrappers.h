/// \file
/// Process ids and plain sleeping.
#ifndef GPAL_OSWRAPPERS_H
#define GPAL_OSWRAPPERS_H

#include <gpal/export.h>

/// One-line wrappers over calls of the operating system. Callable from any thread.
class GPAL_API OSWrappers
{
public:
    /// Sleeps for \p seconds seconds (`sleep(3)`, which takes a negative number for more than a
    /// hundred years). Returns the seconds left when a signal ended the sleep early,
    /// else 0. A cancellation point.
    static unsigned int sleepFor(int seconds);

    /// The caller's process id.
    static int curID();

    /// The process id of the caller's parent.
    static int curParentID();

    /// Whether process \p pid exists and may be signalled; false also for a process that belongs to
    /// another user.
    static bool testPID(int pid);
};

#endif
