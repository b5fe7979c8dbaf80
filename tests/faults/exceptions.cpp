#include <cstring>

#include "faults/scenario.h"

namespace faults
{

// What the pages on faults and surprises, and the headers, tell clients in the same words.
const std::vector<Exception> EXCEPTIONS{
    {"spawn and join", "pthread_create", MEMORY_LEFT,
     "a thread that the C library wrongly disowned might still read what it starts with"},
    {"spawn with a long name", "pthread_create", MEMORY_LEFT, "the same"},
    {"spawn with a long name", "operator new", ENDS,
     "what the manager is told is a copy: no memory for it, on a thread that has not begun"},
    {"spawn with a long name", "malloc", ENDS, "the same"},
    {"arm and expire", "pthread_create", BLOCKS,
     "start returns when the monitor holds its list; without a thread that is never"},
    {"arm and expire", "clock_gettime", BLOCKS,
     "a clock that can't be read stands at 0, and timers go by it"},
    {"POSIX timer", "timer_delete", MEMORY_LEFT, "the C library's timer, which it did not delete"},
    {"POSIX timer", "malloc", SPOILS_NEXT,
     "a C library that could not make its thread for timers once does not try again"},
    {"pack", "fdopen", DESCRIPTOR_LEFT | FILE_LEFT, "the list stays, in /tmp and open"},
    {"pack", "malloc", DESCRIPTOR_LEFT | FILE_LEFT, "the same, for fdopen"},
    {"pack", "unlink", FILE_LEFT, "the list that could not be removed"},
    {"start and wait", "waitpid", CHILD_LEFT, "a child that was not waited for is ended, unreaped"},
    {"start and wait", "kill", CHILD_LEFT, "the same, of one that is taken to be gone"},
    {"compare", "waitpid", CHILD_LEFT, "as start and wait"},
    {"memory report", "waitpid", CHILD_LEFT, "as start and wait"},
    {"memory report", "open", CHILD_LEFT, "cancellation is held off there, and strikes in waitpid"},
    {"memory report", "close", CHILD_LEFT, "the same"},
    {"passwords", "waitpid", CHILD_LEFT, "as start and wait"},
    {"passwords", "operator new", CHILD_LEFT, "the manager could not be told: the script is ended"},
    {"passwords", "malloc", CHILD_LEFT, "the same"},
    {"serial console", "fopen64", BLOCKS,
     "without a table there is no end of it; the device always has one"},
    {"serial console", "malloc", BLOCKS, "the same, for opening the table"},
};

unsigned int allowed(const char* scenario, const char* call)
{
    unsigned int left = NOTHING_LEFT;
    for (const Exception& exception : EXCEPTIONS) {
        const bool isMeant = std::strcmp(exception.scenario, "*") == 0 ||
                             std::strcmp(exception.scenario, scenario) == 0;
        if (isMeant && std::strcmp(exception.call, call) == 0) {
            left |= exception.left;
        }
    }
    return left;
}

} // namespace faults
