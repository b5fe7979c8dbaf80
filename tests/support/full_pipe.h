/// \file
/// Pipes on which writing blocks, for threads that are cancelled while they write.
#ifndef GPAL_TESTS_SUPPORT_FULL_PIPE_H
#define GPAL_TESTS_SUPPORT_FULL_PIPE_H

#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <stdio_ext.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "support/plain_thread.h"
#include "support/temporary_directory.h"

namespace support
{

/// Writes to a pipe until it takes nothing more.
inline void fill(int pipe)
{
    const int flags = fcntl(pipe, F_GETFL);
    fcntl(pipe, F_SETFL, flags | O_NONBLOCK);
    const std::string block(4096, 'f');
    while (write(pipe, block.data(), block.size()) > 0) {
    }
    while (write(pipe, "f", 1) > 0) {
    }
    fcntl(pipe, F_SETFL, flags);
}

/// Reads all that is in a pipe, which does not block from then on.
inline std::string drain(int pipe)
{
    fcntl(pipe, F_SETFL, fcntl(pipe, F_GETFL) | O_NONBLOCK);
    std::string content;
    char block[4096];
    for (ssize_t got = 0; (got = read(pipe, block, sizeof block)) > 0;) {
        content.append(block, static_cast<std::size_t>(got));
    }
    return content;
}

/// Makes a pipe that is full, at a path that may be taken already.
class FullPipe
{
public:
    explicit FullPipe(std::string path) : m_path(std::move(path))
    {
        mkfifo(m_path.c_str(), 0600);
        m_descriptor = open(m_path.c_str(), O_RDWR | O_CLOEXEC);
        fill(m_descriptor);
    }
    FullPipe(const FullPipe&) = delete;
    FullPipe& operator=(const FullPipe&) = delete;
    ~FullPipe() { close(m_descriptor); }

    const std::string& path() const { return m_path; }

    /// Whether everything in it is what it was filled with.
    bool gotNothing() const
    {
        return drain(m_descriptor).find_first_not_of('f') == std::string::npos;
    }

private:
    std::string m_path;
    int m_descriptor = -1;
};

/// Puts a full pipe in the place of standard output or standard error while it lives.
class FullInPlace
{
public:
    explicit FullInPlace(int descriptor)
        : m_descriptor(descriptor), m_saved(fcntl(descriptor, F_DUPFD_CLOEXEC, 3))
    {
        std::cout.flush();
        if (pipe2(m_ends, O_CLOEXEC) != 0) {
            std::abort();
        }
        fill(m_ends[1]);
        dup2(m_ends[1], m_descriptor);
    }
    FullInPlace(const FullInPlace&) = delete;
    FullInPlace& operator=(const FullInPlace&) = delete;
    ~FullInPlace()
    {
        dup2(m_saved, m_descriptor);
        for (const int descriptor : {m_saved, m_ends[0], m_ends[1]}) {
            close(descriptor);
        }
    }

    /// Lets those go on who are blocked.
    void drain() const { support::drain(m_ends[0]); }

private:
    int m_descriptor;
    int m_saved;
    int m_ends[2] = {-1, -1};
};

/// What becomes of a thread that is cancelled in a print to a full pipe, and of the stream.
struct CancelledPrint {
    bool cancelled;
    bool unwound;
    bool unlocked;
};

inline CancelledPrint cancelInAPrint()
{
    const TemporaryDirectory directory;
    const FullPipe pipe(directory.path("pipe"));
    std::FILE* const stream = std::fopen(pipe.path().c_str(), "w");
    std::setvbuf(stream, nullptr, _IONBF, 0);
    bool unwound = false;
    PlainThread thread([&] {
        struct NoteUnwinding {
            ~NoteUnwinding() { m_unwound = true; }
            bool& m_unwound;
        } const noteUnwinding{unwound};
        std::fprintf(stream, "%s\n", pipe.path().c_str());
    });
    thread.cancelOnceItBlocks();
    const bool unlocked = ftrylockfile(stream) == 0;
    if (unlocked) {
        funlockfile(stream);
        __fpurge(stream);
        std::fclose(stream);
    } else {
        close(fileno_unlocked(stream)); // Nobody can close the stream itself any more.
    }
    return {thread.wasCancelled(), unwound, unlocked};
}

/// Why a thread that is cancelled in a print is not unwound; "" where it is.
inline std::string whyPrintsAreNotUnwound()
{
    const CancelledPrint print = cancelInAPrint();
    if (!print.cancelled) {
        return "printing is no cancellation point of this C library";
    }
    return print.unwound ? ""
                         : "this C library ends a thread that is cancelled in fprintf without "
                           "unwinding its stack";
}

/// Why nobody can use a stream any more that a thread was cancelled in; "" where that is not so.
inline std::string whyStreamsAreLost()
{
    return cancelInAPrint().unlocked
               ? ""
               : "the C library leaves a stream locked by a thread that is cancelled in it";
}

} // namespace support

#endif
