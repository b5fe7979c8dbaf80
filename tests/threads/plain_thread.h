/// \file
/// A thread that the layer knows nothing about.
#ifndef GPAL_TESTS_THREADS_PLAIN_THREAD_H
#define GPAL_TESTS_THREADS_PLAIN_THREAD_H

#include <functional>
#include <pthread.h>
#include <utility>

/// Runs a body on a POSIX thread, which the test may cancel. Joins it at the latest when it goes.
class PlainThread
{
public:
    explicit PlainThread(std::function<void()> body) : m_body(std::move(body))
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
        join();
    }

    void join()
    {
        if (!m_joined) {
            pthread_join(m_thread, &m_result);
            m_joined = true;
        }
    }

    /// Waits for the thread's end; whether it was cancelled rather than returned.
    bool wasCancelled()
    {
        join();
        return m_result == PTHREAD_CANCELED;
    }

private:
    static void* start(void* thread)
    {
        static_cast<PlainThread*>(thread)->m_body();
        return nullptr;
    }

    std::function<void()> m_body;
    pthread_t m_thread{};
    bool m_joined = false;
    void* m_result = nullptr;
};

/// Runs \p body on a thread of its own, to its end.
inline void onAnotherThread(std::function<void()> body)
{
    PlainThread(std::move(body)).join();
}

#endif
