/// \file
/// The command line.
#ifndef VOICE_CALL_OPTIONS_H
#define VOICE_CALL_OPTIONS_H

#include <optional>
#include <string>

namespace voicecall
{

struct Options {
    std::string input = "/usr/share/sounds/alsa/Front_Center.wav";
    std::string output = "voice_call.wav";
    std::string capture;       ///< "" for none
    std::optional<int> listen; ///< the port at which to wait for a call, 0 for any free one
    std::string to;            ///< whom to call; "" for nobody
    std::optional<int> timeoutS;
    bool dump = false;
    bool crash = false;
    bool help = false;
    std::string complaint; ///< what is wrong with the command line; "" when nothing is
};

/// The port of a call to a machine for which none is named.
constexpr int DEFAULT_PORT = 5004;
/// How long a side may say nothing, in seconds.
constexpr int DEFAULT_TIMEOUT_S = 5;

/// Reads the command line.
Options readOptions(int argc, char** argv);

std::string usage();

/// What --help prints.
std::string help();

} // namespace voicecall

#endif
