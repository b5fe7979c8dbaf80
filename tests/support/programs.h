/// \file
/// The project's own programs as a person starts them.
#ifndef GPAL_TESTS_SUPPORT_PROGRAMS_H
#define GPAL_TESTS_SUPPORT_PROGRAMS_H

#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace support
{

/// A command line for the program \p path, behind an emulator where it is another processor's. The
/// environment variable \p variable may name another, for a machine that has no build directory.
inline std::vector<std::string> commandLine(const std::string& path, const std::string& emulator,
                                            const char* variable,
                                            const std::vector<std::string>& arguments)
{
    std::vector<std::string> words;
    if (const char* named = std::getenv(variable); named != nullptr) {
        words.emplace_back(named);
    } else {
        std::istringstream emulatorWords(emulator);
        words.assign(std::istream_iterator<std::string>(emulatorWords), {});
        words.push_back(path);
    }
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

/// For a child process: opens a file, by default made or emptied, in the place of a descriptor.
inline void redirect(int descriptor, const std::string& path,
                     int mode = O_RDWR | O_CREAT | O_TRUNC | O_NOCTTY)
{
    const int file = open(path.c_str(), mode, 0644);
    if (file < 0 || dup2(file, descriptor) < 0) {
        _exit(126);
    }
}

/// Starts a program in a child process that has run \p prepare. Returns the child's id.
template <typename Prepare>
pid_t startProgram(std::vector<std::string> words, Prepare prepare)
{
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        prepare();
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
    return child;
}

/// Waits for the end of a child. Returns its exit status; minus the signal that killed it.
inline int waitForExit(pid_t child)
{
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

} // namespace support

#endif
