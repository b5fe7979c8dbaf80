/// \file
/// The command line.
#ifndef SUPERVISOR_OPTIONS_H
#define SUPERVISOR_OPTIONS_H

#include <string>

namespace supervisor
{

struct Options {
    int restarts = 3;
    int pauseMs = 1000;       ///< before each restart
    int archiveAt = 100;      ///< records; 0 for never
    char** command = nullptr; ///< program and arguments, null-terminated
    bool help = false;
    bool valid = true;
};

/// Reads the command line; `valid` is false when it makes no sense. What follows the program's path
/// is the program's.
Options readOptions(int argc, char** argv);

/// One line.
std::string usage();

/// What --help prints.
std::string help();

} // namespace supervisor

#endif
