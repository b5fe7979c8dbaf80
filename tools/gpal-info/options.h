/// \file
/// The command line.
#ifndef GPAL_INFO_OPTIONS_H
#define GPAL_INFO_OPTIONS_H

#include <optional>
#include <string>

namespace gpalinfo
{

struct Options {
    std::string disk;                   ///< "" for the locations that the environment names
    std::optional<std::string> process; ///< whose threads to show in place of the overview
    std::optional<std::string> capture; ///< what to list in place of the overview
    bool json = false;
    bool help = false;
    bool version = false;
    std::string complaint; ///< what is wrong with the command line; "" when nothing is
};

/// Reads the command line.
Options readOptions(int argc, char** argv);

std::string usage();

/// What --help prints.
std::string help();

/// What --version prints.
std::string version();

} // namespace gpalinfo

#endif
