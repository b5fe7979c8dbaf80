/// \file
/// The command line.
#ifndef GPAL_INFO_OPTIONS_H
#define GPAL_INFO_OPTIONS_H

#include <optional>
#include <string>

namespace gpalinfo
{

struct Options {
    std::string process = "init";
    std::string disk;                   ///< "" for the locations that the environment names
    std::optional<std::string> capture; ///< in place of the overview
    bool help = false;
    bool valid = true;
};

/// Reads the command line; `valid` is false when it makes no sense.
Options readOptions(int argc, char** argv);

/// One line.
std::string usage();

/// What --help prints.
std::string help();

} // namespace gpalinfo

#endif
