/// \file
/// Threads that are none: bodies run in the test's own thread, at once or when the test says so.
#ifndef GPAL_TESTING_MANUALTHREADS_H
#define GPAL_TESTING_MANUALTHREADS_H

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <deque>
#include <map>
#include <pthread.h>
#include <stdexcept>
#include <string>

#include <gpal/testing/BodyCancelled.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>

namespace gpal::testing
{

/// A spawner, and a factory of spawners that all share it, which runs bodies in the calling thread.
/// Bodies are not owned. It must outlive its spawners. Not for two threads at once.
///
/// Ids are those of real threads that end at once, one for each `spawn`, so that they can be handed
/// to whatever takes one, `Threadable::waitForThreadCompletion` and `Threader::detach` included.
/// They are to be joined like others. Nothing is announced to the process manager, and a body sees
/// the caller's thread as its own (`Threadable::currentThreadId`).
///
/// An exception that escapes a body leaves the function that ran it; on the device it would reboot.
/// `BodyCancelled` ends the body and goes no further. A body must not call `pthread_exit`.
class ManualThreads : public ThreaderIfc, public ThreaderFactoryIfc
{
public:
    /// When bodies run.
    enum When {
        INLINE,   ///< inside `spawn`, once the id is stored
        ON_DEMAND ///< inside `runNext`, `runAll` or `waitForThreadCompletion`
    };

    /// Runs bodies inside `spawn`, or on demand.
    explicit ManualThreads(When when = INLINE) : m_when(when) {}
    ManualThreads(const ManualThreads&) = delete;
    ManualThreads& operator=(const ManualThreads&) = delete;

    /// As `ThreaderIfc::spawn`. Throws `std::runtime_error` when the system has no thread to take
    /// an id from.
    bool spawn(unsigned long* threadId, Threadable* body, std::string /*name*/,
               GPALThreadPriority /*priority*/, int /*reserved*/) override
    {
        if (body == nullptr || threadId == nullptr) {
            return false;
        }
        *threadId = newId();
        body->setThreadId(*threadId);
        m_bodies[*threadId] = body;
        m_waiting.push_back(*threadId);
        m_spawned += 1;
        if (m_when == INLINE) {
            run(*threadId);
        }
        return true;
    }

    /// A body that has not begun never runs; one that has begun goes on. Returns whether the thread
    /// was spawned here and not joined yet.
    bool destroy(unsigned long threadId) override
    {
        forget(threadId);
        return m_bodies.count(threadId) != 0;
    }

    /// Runs the body now, if it has not begun. Returns 0; ESRCH for an id that was not spawned here
    /// or was joined before, EDEADLK inside the body.
    int waitForThreadCompletion(unsigned long threadId) override
    {
        if (m_bodies.count(threadId) == 0) {
            return ESRCH;
        }
        if (isRunning(threadId)) {
            return EDEADLK;
        }
        run(threadId);
        m_bodies.erase(threadId);
        return pthread_join(threadId, nullptr);
    }

    /// A new spawner, owned by the caller, that does what this object does.
    ThreaderIfc* createNewThreader() override { return new Spawner(*this); }

    /// Runs the body that waits longest. Returns whether there was one.
    bool runNext()
    {
        if (m_waiting.empty()) {
            return false;
        }
        run(m_waiting.front());
        return true;
    }

    /// Runs every body that waits, those spawned meanwhile too. Returns how many.
    int runAll()
    {
        int bodies = 0;
        while (runNext()) {
            bodies += 1;
        }
        return bodies;
    }

    /// Bodies that have not begun.
    std::size_t waiting() const { return m_waiting.size(); }

    /// Bodies spawned so far.
    int spawned() const { return m_spawned; }

private:
    class Spawner : public ThreaderIfc
    {
    public:
        explicit Spawner(ManualThreads& threads) : m_threads(threads) {}
        bool spawn(unsigned long* threadId, Threadable* body, std::string name,
                   GPALThreadPriority priority, int reserved) override
        {
            return m_threads.spawn(threadId, body, name, priority, reserved);
        }
        bool destroy(unsigned long threadId) override { return m_threads.destroy(threadId); }
        int waitForThreadCompletion(unsigned long threadId) override
        {
            return m_threads.waitForThreadCompletion(threadId);
        }

    private:
        ManualThreads& m_threads;
    };

    /// An entry in the list of running bodies, for a scope.
    class Running
    {
    public:
        Running(std::deque<unsigned long>& list, unsigned long threadId) : m_list(list)
        {
            m_list.push_back(threadId);
            detail::runningBodies += 1;
        }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
        ~Running()
        {
            m_list.pop_back();
            detail::runningBodies -= 1;
        }

    private:
        std::deque<unsigned long>& m_list;
    };

    static unsigned long newId()
    {
        unsigned long id = 0;
        if (pthread_create(
                &id, nullptr, [](void*) -> void* { return nullptr; }, nullptr) != 0) {
            throw std::runtime_error("ManualThreads: no thread to take an id from");
        }
        return id;
    }

    bool isRunning(unsigned long threadId) const
    {
        return std::find(m_running.begin(), m_running.end(), threadId) != m_running.end();
    }

    /// Returns whether the body was waiting.
    bool forget(unsigned long threadId)
    {
        const auto found = std::find(m_waiting.begin(), m_waiting.end(), threadId);
        const bool waiting = found != m_waiting.end();
        if (waiting) {
            m_waiting.erase(found);
        }
        return waiting;
    }

    void run(unsigned long threadId)
    {
        if (!forget(threadId)) {
            return;
        }
        const Running running(m_running, threadId);
        try {
            m_bodies[threadId]->run();
        } catch (const BodyCancelled&) { // an end as any other
        }
    }

    When m_when;
    int m_spawned = 0;
    std::map<unsigned long, Threadable*> m_bodies; ///< those not joined yet
    std::deque<unsigned long> m_waiting;
    std::deque<unsigned long> m_running; ///< bodies run bodies: the last one is at work
};

} // namespace gpal::testing

#endif
