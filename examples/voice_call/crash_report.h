/// \file
/// What is left to say when the program crashes.
#ifndef VOICE_CALL_CRASH_REPORT_H
#define VOICE_CALL_CRASH_REPORT_H

namespace voicecall
{

/// From now on a bad memory access prints the registers and the call stack of its thread on
/// standard error before it ends the program as ever, by SIGSEGV or SIGBUS.
void reportCrashes();

/// Makes a bad memory access.
void crash();

} // namespace voicecall

#endif
