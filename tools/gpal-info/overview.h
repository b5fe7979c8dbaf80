/// \file
/// The state of the device in one screen.
#ifndef GPAL_INFO_OVERVIEW_H
#define GPAL_INFO_OVERVIEW_H

#include <string>

namespace gpalinfo
{

/// Prints the overview on standard output: at most 24 lines of at most 80 characters, unless a path
/// is longer.
///
/// \param disk    path whose disk to show; "" for the locations that the environment names
/// \param process name of the process to look up
void printOverview(const std::string& disk, const std::string& process);

} // namespace gpalinfo

#endif
