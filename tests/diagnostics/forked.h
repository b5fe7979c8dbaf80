/// \file
/// A child process in which a test does what would spoil its own process.
#ifndef GPAL_TESTS_DIAGNOSTICS_FORKED_H
#define GPAL_TESTS_DIAGNOSTICS_FORKED_H

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

/// Runs \p work in a child and returns what that wrote down, with a note on how the child ended if
/// it did not end well.
inline std::string inForkedChild(const std::function<void(std::ostream& notes)>& work)
{
    int ends[2] = {-1, -1};
    if (pipe(ends) != 0) {
        return "no pipe";
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        std::ostringstream notes;
        work(notes);
        std::fflush(nullptr);
        const std::string text = notes.str();
        const ssize_t written = write(ends[1], text.data(), text.size());
        _exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string text;
    char piece[4096];
    for (ssize_t got = 0; (got = read(ends[0], piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<std::size_t>(got));
    }
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0 ? text : text + " [ended with " + std::to_string(status) + "]";
}

#endif
