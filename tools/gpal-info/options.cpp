#include "options.h"

#include <getopt.h>

#include <gpal/version.h>

namespace gpalinfo
{
namespace
{

/// The long options. Their numbers lie above those of the letters, so that it can be told which of
/// the two was used wrongly.
enum LongOption : int { PROCESS = 256, DISK, CAPTURE, JSON, HELP, VERSION };

const option KNOWN[] = {{"process", required_argument, nullptr, PROCESS},
                        {"disk", required_argument, nullptr, DISK},
                        {"capture", required_argument, nullptr, CAPTURE},
                        {"json", no_argument, nullptr, JSON},
                        {"help", no_argument, nullptr, HELP},
                        {"version", no_argument, nullptr, VERSION},
                        {nullptr, 0, nullptr, 0}};

/// The complaint about an option that getopt has refused.
std::string whatIsWrong(int found, char** argv)
{
    const bool isLetter = optopt > 0 && optopt < PROCESS;
    const std::string word =
        isLetter ? std::string("-") + static_cast<char>(optopt) : argv[optind - 1];
    if (found == ':') {
        return word + " needs a value";
    }
    return optopt >= PROCESS ? word + ": the option takes no value" : "unknown option " + word;
}

/// Takes over one option that is right by itself.
void take(int found, Options& options)
{
    switch (found) {
    case PROCESS:
        options.process = optarg;
        break;
    case DISK:
        options.disk = optarg;
        break;
    case CAPTURE:
        options.capture = optarg;
        break;
    case JSON:
        options.json = true;
        break;
    case VERSION:
        options.version = true;
        break;
    default:
        options.help = true;
    }
}

} // namespace

Options readOptions(int argc, char** argv)
{
    Options options;
    for (int found = 0; (found = getopt_long(argc, argv, ":h", KNOWN, nullptr)) != -1;) {
        if (found == '?' || found == ':') {
            options.complaint = whatIsWrong(found, argv);
            return options;
        }
        take(found, options);
    }
    const int modes =
        (options.process ? 1 : 0) + (options.capture ? 1 : 0) + (options.disk.empty() ? 0 : 1);
    if (optind < argc) {
        options.complaint = std::string("unexpected argument ") + argv[optind];
    } else if (modes > 1) {
        options.complaint = "only one of --disk, --process and --capture goes at a time";
    }
    return options;
}

std::string usage()
{
    return "usage: gpal-info [--disk PATH | --process PID|NAME | --capture FILE|-] [--json]\n"
           "       gpal-info --help | --version\n";
}

std::string help()
{
    return usage() +
           "\n"
           "Shows the state of the device: memory, resource limits, disks, devices, address.\n"
           "\n"
           "  --disk PATH       with the disk of PATH only (default: those of the user disk,\n"
           "                    the volatile and the persistent location, each disk once)\n"
           "  --process PID     show the threads of a process instead: nice value, the level\n"
           "                    that has it, state, processor time\n"
           "  --process NAME    the same of the first whose program path holds NAME\n"
           "  --capture FILE    list the records of a packet capture instead; - is standard\n"
           "                    input\n"
           "  --json            print JSON\n"
           "  -h, --help        this text\n"
           "  --version         the version\n"
           "\n"
           "A disk's user figures, less the reserves of system and working memory, are shown\n"
           "for the user disk, MIRTA_USER_DISK.\n"
           "\n"
           "Exit status: 0; 1 when the capture or the process can't be read to its end, or\n"
           "standard output not be written; 2 for a wrong command line.\n";
}

std::string version()
{
    return "gpal-info " GPAL_VERSION_STRING "\n";
}

} // namespace gpalinfo
