/// \file
/// Which program a process runs.
#ifndef GPAL_DIAGNOSTICS_COMMAND_LINE_H
#define GPAL_DIAGNOSTICS_COMMAND_LINE_H

#include <string>

namespace gpal::detail
{

/// The first word of the first NUL-terminated text in \p file, at most 1,023 bytes of it; "" when
/// there is none or the file can't be opened.
std::string programIn(const std::string& file);

} // namespace gpal::detail

#endif
