#include "options.h"

#include <cstdlib>
#include <cstring>
#include <getopt.h>

namespace supervisor
{
namespace
{

/// Takes decimal digits only, up to a million.
bool readNumber(const char* text, int& number)
{
    constexpr std::size_t MOST_DIGITS = 7;
    constexpr int MOST = 1000000;
    const std::size_t digits = std::strspn(text, "0123456789");
    if (digits == 0 || digits > MOST_DIGITS || text[digits] != '\0') {
        return false;
    }
    number = std::atoi(text);
    return number <= MOST;
}

} // namespace

Options readOptions(int argc, char** argv)
{
    static const option KNOWN[] = {{"restarts", required_argument, nullptr, 'r'},
                                   {"pause", required_argument, nullptr, 'p'},
                                   {"archive-at", required_argument, nullptr, 'a'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {nullptr, 0, nullptr, 0}};
    Options options;
    opterr = 0; // one line of our own instead
    for (int found = 0; (found = getopt_long(argc, argv, "+", KNOWN, nullptr)) != -1;) {
        switch (found) {
        case 'r':
            options.valid = readNumber(optarg, options.restarts) && options.valid;
            break;
        case 'p':
            options.valid = readNumber(optarg, options.pauseMs) && options.valid;
            break;
        case 'a':
            options.valid = readNumber(optarg, options.archiveAt) && options.valid;
            break;
        case 'h':
            options.help = true;
            break;
        default:
            options.valid = false;
        }
    }
    if (optind < argc) {
        options.command = argv + optind;
    }
    options.valid = options.valid && (options.help || options.command != nullptr);
    return options;
}

std::string usage()
{
    return "usage: supervisor [--restarts N] [--pause MS] [--archive-at N] [--help] PROGRAM "
           "[ARGUMENT]...\n";
}

std::string help()
{
    const Options defaults;
    return usage() +
           "\n"
           "Runs a program and starts it again whenever it ends. Keeps a record of its starts and\n"
           "exit codes, a line each, in the file supervisor.records in the directory that\n"
           "MIRTA_VOLATILE_LOCATION names (the working directory if it is unset), and moves full\n"
           "records into archives beside it: supervisor.0001.tgz and so on. Ctrl-C ends the "
           "program\n"
           "and the supervisor.\n"
           "\n"
           "  PROGRAM         path of the program, which is not searched for\n"
           "  --restarts N    starts it again at most N times (default: " +
           std::to_string(defaults.restarts) +
           ")\n"
           "  --pause MS      waits before each restart (default: " +
           std::to_string(defaults.pauseMs) +
           ")\n"
           "  --archive-at N  archives the record when it holds N lines or more and the program\n"
           "                  is not running; 0 for never (default: " +
           std::to_string(defaults.archiveAt) +
           ")\n"
           "  --help          this text\n"
           "\n"
           "Archives are made by the first `tar` on PATH, which must accept the command line\n"
           "`-cz -T list -C dir/ -f archive`. GNU tar does not: on a host, put libarchive's "
           "bsdtar\n"
           "first on PATH under the name tar.\n"
           "\n"
           "Exit code 255 of the program can also mean that the system could not execute it.\n"
           "Exit status: 0 the program was restarted as often as allowed, 1 it could not be\n"
           "started, recorded or archived, 2 the command line makes no sense, 130 ended by "
           "Ctrl-C,\n"
           "143 by SIGTERM.\n";
}

} // namespace supervisor
