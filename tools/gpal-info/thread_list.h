/// \file
/// The threads of a process, as a table.
#ifndef GPAL_INFO_THREAD_LIST_H
#define GPAL_INFO_THREAD_LIST_H

#include <string>

namespace gpalinfo
{

/// Prints the threads of \p process, an id or a part of a program's path, with a heading, or as one
/// JSON object. Returns false, with a line on standard error, when there is no such process.
bool printThreads(const std::string& process, bool json);

} // namespace gpalinfo

#endif
