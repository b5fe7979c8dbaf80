#include <cstdio>

#include <gpal/gpal.h>
#include <unistd.h>

int main()
{
    char program[] = "/bin/sh"; // a path: PATH is not searched
    char option[] = "-c";
    char command[] = "exit 7";
    char* arguments[] = {program, option, command, nullptr};

    Process child;
    try {
        child.start(3, arguments, environ, nullptr);
        std::printf("The child ended with exit code %d.\n", child.waitForExit());
    } catch (const GPALProcessException& failure) {
        std::printf("It could not be run: %s\n", failure.what());
    }

    char missing[] = "/nowhere/program";
    arguments[0] = missing;
    try {
        child.start(3, arguments, environ, nullptr);
    } catch (const GPALProcessException& failure) {
        std::printf("It could not be run: %s\n", failure.what());
    }
}
