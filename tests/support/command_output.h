/// \file
/// What a command of the shell prints.
#ifndef GPAL_TESTS_SUPPORT_COMMAND_OUTPUT_H
#define GPAL_TESTS_SUPPORT_COMMAND_OUTPUT_H

#include <cstdio>
#include <string>

namespace support
{

struct CommandOutput {
    std::string text; ///< standard output
    int status = -1;  ///< as `waitpid` gives it; -1 for a command that was not started
};

inline CommandOutput runCommand(const std::string& command)
{
    CommandOutput output;
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe != nullptr) {
        char piece[4096];
        for (std::size_t got = 0; (got = std::fread(piece, 1, sizeof piece, pipe)) > 0;) {
            output.text.append(piece, got);
        }
        output.status = pclose(pipe);
    }
    return output;
}

inline std::string outputOf(const std::string& command)
{
    return runCommand(command).text;
}

} // namespace support

#endif
