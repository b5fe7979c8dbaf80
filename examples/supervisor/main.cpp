/// \file
/// A program that keeps another one running, through the layer's processes, record storage and
/// archives. `--help` says what it does; supervisor.h is the place to start reading.
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "options.h"
#include "signals.h"
#include "supervisor.h"

namespace
{

enum ExitStatus : int {
    DONE = 0,
    FAILED = 1,
    BAD_USE = 2,
    ENDED_BY_SIGNAL = 128 ///< to which the signal's number is added
};

int supervise(const supervisor::Options& options)
{
    const supervisor::Signals signals;
    supervisor::Supervisor(options, signals, std::cout).run();
    const int signalNumber = supervisor::Signals::interruptedBy();
    if (signalNumber != 0) {
        return ENDED_BY_SIGNAL + signalNumber;
    }
    if (!std::cout || std::ferror(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output");
    }
    return DONE;
}

} // namespace

int main(int argc, char** argv)
{
    const supervisor::Options options = supervisor::readOptions(argc, argv);
    if (!options.valid) {
        std::cerr << supervisor::usage();
        return BAD_USE;
    }
    if (options.help) {
        std::cout << supervisor::help();
        return DONE;
    }
    try {
        return supervise(options);
    } catch (const std::exception& error) {
        std::cerr << "supervisor: " << error.what() << '\n';
        return FAILED;
    }
}
