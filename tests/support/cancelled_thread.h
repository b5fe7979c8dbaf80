/// \file
/// Threads that are cancelled while they write, and pipes on which writing blocks.
#ifndef GPAL_TESTS_SUPPORT_CANCELLED_THREAD_H
#define GPAL_TESTS_SUPPORT_CANCELLED_THREAD_H

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <pthread.h>
#include <stdio_ext.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "support/observed.h"
#include "support/temporary_directory.h"

namespace support
{

/// A thread that does some work until it is cancelled, by others or by a call that it makes.
class CancelledThread
{
public:
    explicit CancelledThread(std::function<void()> work) : m_work(std::move(work))
    {
        pthread_create(&m_thread, nullptr, start, this);
    }
    CancelledThread(const CancelledThread&) = delete;
    CancelledThread& operator=(const CancelledThread&) = delete;
    ~CancelledThread() = default;

    void cancelOnceItBlocks()
    {
        eventually([this] { return m_id != 0 && isAsleep(); });
        cancel();
    }

    void cancel() { pthread_cancel(m_thread); }

    /// Whether the thread ends, and by being cancelled. One that does not ends the program.
    bool isCancelled()
    {
        void* result = nullptr;
        if (!eventually([&] { return pthread_tryjoin_np(m_thread, &result) == 0; })) {
            std::fputs("a cancelled thread did not end\n", stderr);
            std::abort();
        }
        return result == PTHREAD_CANCELED;
    }

    bool isWorkDone() const { return m_isDone; } ///< of a thread that was joined

private:
    static void* start(void* thread)
    {
        auto* const self = static_cast<CancelledThread*>(thread);
        self->m_id = gettid();
        self->m_work();
        self->m_isDone = true;
        pthread_testcancel();
        return nullptr;
    }

    bool isAsleep() const
    {
        std::string line;
        std::getline(std::ifstream("/proc/self/task/" + std::to_string(m_id) + "/stat"), line);
        return line.find(") S ") != std::string::npos;
    }

    std::function<void()> m_work;
    std::atomic<pid_t> m_id{0};
    bool m_isDone = false;
    pthread_t m_thread{};
};

/// What a replaced call does to the thread that makes it.
inline void cancelOneself()
{
    pthread_cancel(pthread_self());
    pthread_testcancel();
}

/// Makes a pipe that is full, at a path that may be taken already.
class FullPipe
{
public:
    explicit FullPipe(std::string path) : m_path(std::move(path))
    {
        mkfifo(m_path.c_str(), 0600);
        m_descriptor = open(m_path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        const std::string block(4096, 'f');
        while (write(m_descriptor, block.data(), block.size()) > 0) {
        }
        while (write(m_descriptor, "f", 1) > 0) {
        }
    }
    FullPipe(const FullPipe&) = delete;
    FullPipe& operator=(const FullPipe&) = delete;
    ~FullPipe() { close(m_descriptor); }

    const std::string& path() const { return m_path; }
    int descriptor() const { return m_descriptor; }

    /// Whether everything in it is what it was filled with.
    bool gotNothing() const
    {
        char byte = 0;
        while (read(m_descriptor, &byte, 1) == 1) {
            if (byte != 'f') {
                return false;
            }
        }
        return true;
    }

private:
    std::string m_path;
    int m_descriptor = -1;
};

constexpr const char* NO_UNWINDING_OUT_OF_PRINTS =
    "this C library ends a thread that is cancelled in fprintf without unwinding its stack";

/// Whether a thread that is cancelled in a print to a full pipe unwinds its stack.
inline bool unwindsOutOfPrints()
{
    const TemporaryDirectory directory;
    const FullPipe pipe(directory.path("pipe"));
    std::FILE* const stream = std::fopen(pipe.path().c_str(), "w");
    std::setvbuf(stream, nullptr, _IONBF, 0);
    bool unwound = false;
    CancelledThread thread([&] {
        struct NoteUnwinding {
            ~NoteUnwinding() { m_unwound = true; }
            bool& m_unwound;
        } const noteUnwinding{unwound};
        std::fprintf(stream, "%s\n", pipe.path().c_str());
    });
    thread.cancelOnceItBlocks();
    thread.isCancelled();
    __fpurge(stream);
    std::fclose(stream);
    return unwound;
}

} // namespace support

#endif
