/// \file
/// The program that is supervised.
#ifndef SUPERVISOR_CHILD_H
#define SUPERVISOR_CHILD_H

#include <gpal/Process.h>

#include "signals.h"

namespace supervisor
{

/// One run of the program. There is a process object for each, since one that is started again
/// forgets its first child.
class Child
{
public:
    /// Starts it. Throws `std::runtime_error` with a text for the user.
    Child(char** command, const Signals& signals);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    /// Ends it if it is still running.
    ~Child();

    int id() const { return m_id; }

    /// Waits for its end, and ends it as soon as a signal asks the supervisor to. Returns the exit
    /// code; -1 when a signal ended it. To be called once.
    int awaitEnd();

private:
    bool hasEnded() const;
    int end();

    const Signals& m_signals;
    ProcessFactory m_factory;
    ProcessIfc* m_process;
    int m_id = 0;
    bool m_awaited = false;
};

} // namespace supervisor

#endif
