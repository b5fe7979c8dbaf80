/// \file
/// Keeps the layer from rebooting the developer's machine.
///
/// An exception that escapes a thread makes the layer run the command "reboot". In a program that
/// includes this header in one of its sources, or links the CMake target `gpal::testing_guard`,
/// that prints on standard error which thread's body the exception has left and with what text, and
/// ends the program with SIGABRT. While a `ShellCommandRecorder` lives, the command is recorded
/// instead.
#ifndef GPAL_TESTING_REBOOTGUARD_H
#define GPAL_TESTING_REBOOTGUARD_H

#include <gpal/testing/ShellCommandRecorder.h>

namespace gpal::testing::detail
{

/// Looks, before the program's `main`, whether the guard is in force: one that is not would be
/// found out by the reboot.
inline const bool REBOOT_IS_GUARDED = [] {
    requireInForce("system", reinterpret_cast<const void*>(&gpalTestingSystem));
    requireInForce("vsyslog", reinterpret_cast<const void*>(&gpalTestingVsyslog));
    return true;
}();

} // namespace gpal::testing::detail

#endif
