/// \file
/// Threads that the layer knows nothing about, and how they end.
#ifndef GPAL_TESTS_SUPPORT_PLAIN_THREAD_H
#define GPAL_TESTS_SUPPORT_PLAIN_THREAD_H

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <pthread.h>
#include <sys/types.h>
#include <utility>

#include "support/kernel_id.h"
#include "support/observed.h"

namespace support
{

/// Does some work on a POSIX thread, which others or a call of its own may cancel. Joins it at the
/// latest when it goes.
class PlainThread
{
public:
    explicit PlainThread(std::function<void()> work) : m_work(std::move(work))
    {
        pthread_create(&m_thread, nullptr, start, this);
    }
    PlainThread(const PlainThread&) = delete;
    PlainThread& operator=(const PlainThread&) = delete;
    ~PlainThread() { join(); }

    unsigned long id() const { return m_thread; }

    /// Cancels the thread and waits for its end.
    void cancel()
    {
        pthread_cancel(m_thread);
        awaitEnd();
    }

    /// Waits until the thread blocks; returns whether it does.
    bool blocks() const
    {
        return eventually([this] { return isAsleep(m_kernelId); });
    }

    void cancelOnceItBlocks()
    {
        blocks();
        cancel();
    }

    /// Waits for the thread's end, however long that takes.
    void join()
    {
        if (!m_joined) {
            pthread_join(m_thread, &m_result);
            m_joined = true;
        }
    }

    /// Waits for the thread's end; whether its work was cut short by cancellation.
    bool wasCancelled()
    {
        awaitEnd();
        return m_result == PTHREAD_CANCELED && !m_isDone;
    }

    /// Waits for the thread's end; whether its work was done and the thread cancelled only then.
    bool wasCancelledOnlyAtItsEnd()
    {
        awaitEnd();
        return m_result == PTHREAD_CANCELED && m_isDone;
    }

private:
    static void* start(void* thread)
    {
        auto* const self = static_cast<PlainThread*>(thread);
        self->m_kernelId = ownKernelId();
        self->m_work();
        self->m_isDone = true;
        pthread_testcancel();
        return nullptr;
    }

    /// A thread that is to end and does not ends the program.
    void awaitEnd()
    {
        if (!m_joined &&
            !eventually([this] { return pthread_tryjoin_np(m_thread, &m_result) == 0; })) {
            std::fputs("a thread did not end\n", stderr);
            std::abort();
        }
        m_joined = true;
    }

    std::function<void()> m_work;
    std::atomic<pid_t> m_kernelId{0};
    pthread_t m_thread{};
    bool m_isDone = false; ///< to be read once the thread is joined
    bool m_joined = false;
    void* m_result = nullptr;
};

/// Does \p work on a thread of its own, to its end.
inline void onAnotherThread(std::function<void()> work)
{
    PlainThread(std::move(work)).join();
}

inline const pthread_t MAIN_THREAD = pthread_self();

/// What a replaced call does to the thread that makes it. The main thread is spared: some C
/// libraries make such calls themselves when it makes a thread.
inline void cancelOneself()
{
    if (pthread_equal(pthread_self(), MAIN_THREAD) == 0) {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    }
}

/// Whether a thread that does \p work, and may be cancelled there, leaves standard error to others.
inline bool leavesStandardErrorUnlocked(const std::function<void()>& work)
{
    std::fputc('\n', stderr); // where nothing was printed yet, the C library goes past the stream
    PlainThread(work).join();
    const bool isUnlocked = ftrylockfile(stderr) == 0;
    if (isUnlocked) {
        funlockfile(stderr);
    }
    return isUnlocked;
}

constexpr const char* NO_UNWINDING =
    "this C library ends a cancelled thread by its clean-up handlers, without a destructor";

/// Whether the stack of a cancelled thread is unwound; tried out.
inline bool unwindsWhenCancelled()
{
    bool unwound = false;
    PlainThread([&unwound] {
        struct NoteUnwinding {
            ~NoteUnwinding() { m_unwound = true; }
            bool& m_unwound;
        } const noteUnwinding{unwound};
        cancelOneself();
    }).join();
    return unwound;
}

} // namespace support

#endif
