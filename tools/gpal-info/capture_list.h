/// \file
/// The records of a packet capture.
#ifndef GPAL_INFO_CAPTURE_LIST_H
#define GPAL_INFO_CAPTURE_LIST_H

#include <string>

namespace gpalinfo
{

/// Prints one line for each record of \p file and a summary. Returns false, with a line on standard
/// error, when it can't be read or is no capture file.
bool printCapture(const std::string& file);

} // namespace gpalinfo

#endif
