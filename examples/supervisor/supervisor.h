/// \file
/// Running a program again and again.
#ifndef SUPERVISOR_SUPERVISOR_H
#define SUPERVISOR_SUPERVISOR_H

#include <iosfwd>

#include "options.h"
#include "record_file.h"
#include "signals.h"

namespace supervisor
{

/// Runs the program, restarts it as often as the options say, keeps the record and archives it, and
/// tells about all of it on \p out.
class Supervisor
{
public:
    Supervisor(const Options& options, const Signals& signals, std::ostream& out);

    /// Returns when there are no restarts left or a signal asks for the end. Throws
    /// `std::runtime_error` with a text for the user; the program has then ended too.
    void run();

private:
    void runOnce(int number);
    void pause() const;
    void archiveIfFull();
    void report(int runs);

    const Options m_options;
    const Signals& m_signals;
    std::ostream& m_out;
    RecordFile m_record;
    int m_archives = 0;
};

} // namespace supervisor

#endif
