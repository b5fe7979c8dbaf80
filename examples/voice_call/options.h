/// \file
/// The command line.
#ifndef VOICE_CALL_OPTIONS_H
#define VOICE_CALL_OPTIONS_H

#include <string>

namespace voicecall
{

struct Options {
    std::string input = "/usr/share/sounds/alsa/Front_Center.wav";
    std::string output = "voice_call.wav";
    std::string capture; ///< "" for none
    bool crash = false;
    bool help = false;
    bool valid = true;
};

/// Reads the command line; `valid` is false when it makes no sense.
Options readOptions(int argc, char** argv);

/// One line.
std::string usage();

/// What --help prints.
std::string help();

} // namespace voicecall

#endif
