/// \file
/// Work for time-limited runner threads.
#ifndef GPAL_TESTS_THREADS_WORK_H
#define GPAL_TESTS_THREADS_WORK_H

#include <atomic>
#include <functional>
#include <utility>

#include <gpal/Semaphore.h>
#include <gpal/TimedThread.h>

/// Runs what the test says, and knows when that is done.
class Work : public RunnerIfc
{
public:
    explicit Work(std::function<void()> work = [] {}) : m_work(std::move(work)) {}
    void run() override
    {
        m_work();
        m_done = true;
    }
    bool done() const { return m_done; }

private:
    std::function<void()> m_work;
    std::atomic<bool> m_done{false};
};

/// Work that goes on until the test lets it end.
class OpenEndedWork
{
public:
    RunnerIfc* runner() { return &m_work; }
    void end() { m_mayEnd.give(); }
    bool done() const { return m_work.done(); }
    bool started() const { return m_started; }

private:
    std::atomic<bool> m_started{false};
    Semaphore m_mayEnd{0, 1, false};
    Work m_work{[this] {
        m_started = true;
        m_mayEnd.take(-1);
    }};
};

#endif
