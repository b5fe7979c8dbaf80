#include "options.h"

#include <getopt.h>

#include "numbers.h"

namespace voicecall
{
namespace
{

/// The long options. Their numbers lie above those of the letters, so that it can be told which of
/// the two was used wrongly.
enum LongOption : int { OUTPUT = 256, CAPTURE, LISTEN, TO, TIMEOUT, DUMP, CRASH, HELP };

const option KNOWN[] = {{"output", required_argument, nullptr, OUTPUT},
                        {"capture", required_argument, nullptr, CAPTURE},
                        {"listen", optional_argument, nullptr, LISTEN},
                        {"to", required_argument, nullptr, TO},
                        {"timeout", required_argument, nullptr, TIMEOUT},
                        {"dump", no_argument, nullptr, DUMP},
                        {"crash", no_argument, nullptr, CRASH},
                        {"help", no_argument, nullptr, HELP},
                        {nullptr, 0, nullptr, 0}};

/// The complaint about an option that getopt has refused.
std::string whatIsWrong(int found, char** argv)
{
    const bool isLetter = optopt > 0 && optopt < OUTPUT;
    const std::string word =
        isLetter ? std::string("-") + static_cast<char>(optopt) : argv[optind - 1];
    if (found == ':') {
        return word + " needs a value";
    }
    return optopt >= OUTPUT ? word + ": the option takes no value" : "unknown option " + word;
}

/// The port may stand behind the option as a word of its own, if that is a number.
void takeListen(int argc, char** argv, Options& options)
{
    int port = DEFAULT_PORT;
    if (optarg == nullptr) {
        if (optind < argc && readNumber(argv[optind], 0, 65535, port)) {
            ++optind;
        }
    } else if (!readNumber(optarg, 0, 65535, port)) {
        options.complaint = std::string(optarg) + " is no port";
    }
    options.listen = port;
}

void takeTimeout(Options& options)
{
    int seconds = 0;
    if (!readNumber(optarg, 1, 3600, seconds)) {
        options.complaint = std::string(optarg) + " is no number of seconds from 1 to 3600";
    }
    options.timeoutS = seconds;
}

/// Takes over one option that is right by itself.
void take(int found, int argc, char** argv, Options& options)
{
    switch (found) {
    case OUTPUT:
        options.output = optarg;
        break;
    case CAPTURE:
        options.capture = optarg;
        break;
    case LISTEN:
        takeListen(argc, argv, options);
        break;
    case TO:
        options.to = optarg;
        break;
    case TIMEOUT:
        takeTimeout(options);
        break;
    case DUMP:
        options.dump = true;
        break;
    case CRASH:
        options.crash = true;
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
        } else {
            take(found, argc, argv, options);
        }
        if (!options.complaint.empty()) {
            return options;
        }
    }
    if (optind < argc) {
        options.input = argv[optind++];
    }
    if (optind < argc) {
        options.complaint = std::string("unexpected argument ") + argv[optind];
    } else if (options.listen && !options.to.empty()) {
        options.complaint = "only one of --listen and --to goes at a time";
    }
    return options;
}

std::string usage()
{
    return "usage: voice_call [--listen [PORT] | --to HOST[:PORT]] [--timeout SECONDS]\n"
           "           [--output FILE] [--capture FILE] [--dump] [--crash] [--help] [WAV]\n";
}

std::string help()
{
    const Options defaults;
    return usage() +
           "\n"
           "Sends a recording through a telephone call: 8 kHz, G.711 mu-law, an RTP packet\n"
           "every 20 ms. Writes what arrived and reports how the call went. It goes from one\n"
           "thread to another or, with --listen and --to, between two machines, which send\n"
           "and record both. Ctrl-C hangs up.\n"
           "\n"
           "  WAV             16-bit PCM, mono or stereo\n"
           "                  (default: " +
           defaults.input +
           ",\n"
           "                  from Debian's alsa-utils)\n"
           "  --listen PORT   wait for a call (default port: " +
           std::to_string(DEFAULT_PORT) +
           "; 0 for any free one)\n"
           "  --to HOST:PORT  call; an IPv6 address with a port is [ADDRESS]:PORT\n"
           "  --timeout S     give up when nothing is heard for S seconds (default: " +
           std::to_string(DEFAULT_TIMEOUT_S) +
           ",\n"
           "                  but without limit for a caller to come)\n"
           "  --output FILE   where to write what arrived (default: " +
           defaults.output +
           ")\n"
           "  --capture FILE  write the packets sent, on port 5120, as a packet capture\n"
           "  --dump          list all semaphores behind the report\n"
           "  --crash         make a bad memory access, to see what is reported of one\n"
           "  -h, --help      this text\n"
           "\n"
           "Exit status: 0 all arrived; 1 frames were lost or differ, nobody answered, or\n"
           "not all output could be written; 2 the call could not be made or its recording\n"
           "not be written; 130 hung up by Ctrl-C.\n";
}

} // namespace voicecall
