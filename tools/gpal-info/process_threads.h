/// \file
/// The threads of a running process, as the kernel knows them.
#ifndef GPAL_INFO_PROCESS_THREADS_H
#define GPAL_INFO_PROCESS_THREADS_H

#include <optional>
#include <string>
#include <vector>

namespace gpalinfo
{

struct ThreadState {
    int id = 0;
    std::string name;
    char state = '?'; ///< the kernel's letter
    int nice = 0;
    double cpuSeconds = 0; ///< in user and kernel mode
};

struct ProcessThreads {
    int id = 0;
    std::string program;              ///< as it was started
    std::vector<ThreadState> threads; ///< by id
};

/// The process with the id \p process or, if that is no number, the first one whose program path
/// holds it. Empty when there is none, or it has gone meanwhile.
std::optional<ProcessThreads> findThreads(const std::string& process);

/// Reads the kernel's line about a thread, "ID (NAME) STATE ...". Empty when it is none.
std::optional<ThreadState> parseThread(const std::string& line);

/// The levels of the layer that have the nice value \p nice, as "HIGH/TIMER"; "" if none has.
std::string levelsOf(int nice);

/// "sleeping" for 'S' and so on.
std::string nameOfState(char state);

} // namespace gpalinfo

#endif
