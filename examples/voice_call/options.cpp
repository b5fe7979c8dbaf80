#include "options.h"

#include <getopt.h>

namespace voicecall
{

Options readOptions(int argc, char** argv)
{
    static const option KNOWN[] = {{"output", required_argument, nullptr, 'o'},
                                   {"capture", required_argument, nullptr, 'c'},
                                   {"crash", no_argument, nullptr, 'x'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {nullptr, 0, nullptr, 0}};
    Options options;
    opterr = 0; // one line of our own instead
    for (int found = 0; (found = getopt_long(argc, argv, "", KNOWN, nullptr)) != -1;) {
        if (found == 'o') {
            options.output = optarg;
        } else if (found == 'c') {
            options.capture = optarg;
        } else if (found == 'x') {
            options.crash = true;
        } else if (found == 'h') {
            options.help = true;
        } else {
            options.valid = false;
        }
    }
    if (optind < argc) {
        options.input = argv[optind++];
    }
    if (optind < argc) {
        options.valid = false;
    }
    return options;
}

std::string usage()
{
    return "usage: voice_call [--output FILE] [--capture FILE] [--crash] [--help] [WAV]\n";
}

std::string help()
{
    const Options defaults;
    return usage() +
           "\n"
           "Sends a recording through a telephone call from one thread to another: 8 kHz, G.711\n"
           "mu-law, one RTP packet every 20 ms over the loopback interface. Writes what arrived "
           "and\n"
           "reports how the call went. Ctrl-C hangs up.\n"
           "\n"
           "  WAV            16-bit PCM, mono or stereo\n"
           "                 (default: " +
           defaults.input +
           ",\n"
           "                 from Debian's alsa-utils)\n"
           "  --output FILE  where to write what arrived, 8 kHz mono (default: " +
           defaults.output +
           ")\n"
           "  --capture FILE where to write the packets, as a capture file; their UDP port in "
           "there\n"
           "                 is 5120, which a viewer is to be told carries RTP\n"
           "  --crash        make a bad memory access, to see what is reported of one\n"
           "  --help         this text\n"
           "\n"
           "Exit status: 0 all arrived unchanged, 1 frames were lost or differ, 2 the call could\n"
           "not be made or its recording not be written, 130 hung up by Ctrl-C.\n";
}

} // namespace voicecall
