/// \file
/// Stands in for the device's tool box: prints what it is started with, and ends with status 3.
#include <cstdio>
#include <unistd.h>

int main(int /*argc*/, char** argv, char** environment)
{
    usleep(50 * 1000); // who does not wait for the end sees nothing
    for (char** argument = argv; *argument != nullptr; ++argument) {
        std::printf("[%s]", *argument);
    }
    std::printf("\n");
    for (char** variable = environment; *variable != nullptr; ++variable) {
        std::printf("{%s}\n", *variable);
    }
    std::fflush(stdout);
    std::fputs("to standard error\n", stderr);
    return 3;
}
