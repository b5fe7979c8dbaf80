#include "hand_process.h"

#include <sys/wait.h>
#include <unistd.h>

namespace hand
{

int runProgram(char** argv, char** envp)
{
    const pid_t child = vfork();
    if (child == 0) {
        execve(argv[0], argv, envp);
        _exit(-1);
    }
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace hand
