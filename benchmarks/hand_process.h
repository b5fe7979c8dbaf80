/// \file
/// What a client without the layer would write to run a program.
#ifndef GPAL_BENCHMARKS_HAND_PROCESS_H
#define GPAL_BENCHMARKS_HAND_PROCESS_H

namespace hand
{

/// Starts the program `argv[0]` and waits for its end: vfork, execve and waitpid, and nothing else.
/// Returns its exit code; -1 when it did not exit or could not be started.
int runProgram(char** argv, char** envp);

} // namespace hand

#endif
