/// \file
/// A forked child that ends in the ordinary way.
#ifndef GPAL_TESTS_SUPPORT_FORKED_EXIT_H
#define GPAL_TESTS_SUPPORT_FORKED_EXIT_H

#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace support
{

/// Has a forked child call `exit`, and ends this process: with 0 if the child came to its end
/// within a number of seconds. The child has the calling thread only, and locks that the others
/// held at the fork stay locked in it.
[[noreturn]] inline void exitInAForkedChild(unsigned int seconds)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(seconds);
        std::exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    _exit(status == 0 ? 0 : 1);
}

} // namespace support

#endif
