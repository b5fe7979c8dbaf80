/// \file
/// Ctrl-C and its like, and the ends of children.
#ifndef SUPERVISOR_SIGNALS_H
#define SUPERVISOR_SIGNALS_H

#include <csignal>

namespace supervisor
{

/// From its construction on SIGINT, SIGTERM, SIGHUP and SIGPIPE are only noted, for the program to
/// end in its own way, and they are held back but where it waits or starts a child: nothing else is
/// cut short, an archive in the making included. One object for the life of the process.
class Signals
{
public:
    Signals();

    /// Lets signals through for a scope: around the start of a child, which inherits what is held
    /// back.
    class LetThrough
    {
    public:
        explicit LetThrough(const Signals& signals);
        LetThrough(const LetThrough&) = delete;
        LetThrough& operator=(const LetThrough&) = delete;
        ~LetThrough();

    private:
        sigset_t m_before{};
    };

    /// Returns when a signal was noted or a child has ended, or after \p milliseconds; -1 for no
    /// limit. What came before the call counts too. May return early.
    void wait(int milliseconds) const;

    /// The last signal that asked for the end; 0 when there was none.
    static int interruptedBy();

private:
    sigset_t m_whileWaiting{};
};

} // namespace supervisor

#endif
