/// \file
/// The calls of the system and the C library that the layer makes, with what each documents to fail
/// with, and the device's own files moved out of the machine's way.
#ifndef GPAL_TESTS_FAULTS_CALL_TABLE_H
#define GPAL_TESTS_FAULTS_CALL_TABLE_H

#include <string>
#include <vector>

namespace faults
{

/// Puts the table in force for the rest of the process. \p directory holds what the device has
/// below "/etc".
void watchCalls(const std::string& directory);

/// The temporary files that were made since the last look and are still there; they are removed.
std::vector<std::string> temporaryFilesLeft();

/// How many times faster than the machine's the clocks of a scenario go, and with them its sleeps
/// and time-outs.
constexpr int HASTE = 200;
void makeHaste(bool wanted);

} // namespace faults

#endif
