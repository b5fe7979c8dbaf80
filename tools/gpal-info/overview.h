/// \file
/// The state of the device in one screen.
#ifndef GPAL_INFO_OVERVIEW_H
#define GPAL_INFO_OVERVIEW_H

#include <string>

namespace gpalinfo
{

/// A resource limit: the name to show, that for scripts, and the layer's letter for it.
struct Limit {
    const char* name;
    const char* member;
    char option;
};

constexpr Limit LIMITS[] = {{"CPU s", "cpu_s", 't'},
                            {"file blocks", "file_blocks", 'f'},
                            {"data kB", "data_kb", 'd'},
                            {"stack kB", "stack_kb", 's'},
                            {"core blocks", "core_blocks", 'c'},
                            {"memory kB", "memory_kb", 'm'},
                            {"locked kB", "locked_kb", 'l'},
                            {"processes", "processes", 'p'},
                            {"open files", "open_files", 'n'},
                            {"address space kB", "address_space_kb", 'v'},
                            {"file locks", "file_locks", 'w'}};

/// The process that the overview names.
constexpr auto FIRST_PROCESS = "init";

/// Prints the overview on standard output: at most 24 lines of at most 80 characters, unless a path
/// is longer.
///
/// \param disk path whose disk to show; "" for the locations that the environment names
void printOverview(const std::string& disk);

/// The same as one JSON object.
void printOverviewAsJson(const std::string& disk);

} // namespace gpalinfo

#endif
