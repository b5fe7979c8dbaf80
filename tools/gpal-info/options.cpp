#include "options.h"

#include <getopt.h>

namespace gpalinfo
{

Options readOptions(int argc, char** argv)
{
    static const option KNOWN[] = {{"process", required_argument, nullptr, 'p'},
                                   {"disk", required_argument, nullptr, 'd'},
                                   {"capture", required_argument, nullptr, 'c'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {nullptr, 0, nullptr, 0}};
    Options options;
    opterr = 0; // one line of our own instead
    for (int found = 0; (found = getopt_long(argc, argv, "", KNOWN, nullptr)) != -1;) {
        if (found == 'p') {
            options.process = optarg;
        } else if (found == 'd') {
            options.disk = optarg;
        } else if (found == 'c') {
            options.capture = optarg;
        } else if (found == 'h') {
            options.help = true;
        } else {
            options.valid = false;
        }
    }
    options.valid = options.valid && optind == argc;
    return options;
}

std::string usage()
{
    return "usage: gpal-info [--process NAME] [--disk PATH] [--capture FILE] [--help]\n";
}

std::string help()
{
    const Options defaults;
    return usage() +
           "\n"
           "Shows the state of the device: memory, resource limits, disks, address, devices.\n"
           "\n"
           "  --process NAME  also show the id of the first process whose program path holds\n"
           "                  NAME (default: " +
           defaults.process +
           ")\n"
           "  --disk PATH     show the disk of PATH (default: those of the user disk, the\n"
           "                  volatile and the persistent location)\n"
           "  --capture FILE  list the records of a packet capture instead\n"
           "  --help          this text\n"
           "\n"
           "The user's figures of a disk are shown when MIRTA_USER_DISK is set; the two\n"
           "reserves are the system's and that of working memory. All are computed in 32\n"
           "bits, as on the device: above 2 GiB they are wrong.\n"
           "\n"
           "Exit status: 0, 1 when the capture can't be read, 2 for a wrong command line.\n";
}

} // namespace gpalinfo
