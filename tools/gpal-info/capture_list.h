/// \file
/// The records of a packet capture.
#ifndef GPAL_INFO_CAPTURE_LIST_H
#define GPAL_INFO_CAPTURE_LIST_H

#include <string>

namespace gpalinfo
{

/// Prints one line for each record of \p file ("-": standard input), one for each day, and a
/// summary; or all as one JSON object. Returns false, with a line on standard error after what was
/// readable, when it can't be read to its end or is no capture file.
bool printCapture(const std::string& file, bool json);

} // namespace gpalinfo

#endif
