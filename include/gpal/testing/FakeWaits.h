/// \file
/// Event objects that never block.
#ifndef GPAL_TESTING_FAKEWAITS_H
#define GPAL_TESTING_FAKEWAITS_H

#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <gpal/testing/BodyCancelled.h>
#include <gpal/Wait.h>

namespace gpal::testing
{

/// An event object that never blocks and remembers for how long it was asked to.
///
/// A wait consumes a signal that is there, as the real one does. With none, it calls what was set
/// by `whenWaiting`, which may signal; then, with none still, its time has run out at once. A wait
/// without a limit would last for ever: it throws `BodyCancelled`, and says so on standard error
/// unless a body of `ManualThreads` is running.
/// May be used from any thread.
class FakeWait : public WaitIfc
{
public:
    /// Called in the waiting thread, by a wait that finds no signal, with the event object and the
    /// limit.
    using Hook = std::function<void(WaitIfc& wait, int timeoutMs)>;

    FakeWait() : FakeWait(std::make_shared<Record>()) {}
    FakeWait(const FakeWait&) = delete;
    FakeWait& operator=(const FakeWait&) = delete;

    int wait() override { return wait(-1); }

    int wait(int timeoutMs) override
    {
        const Hook hook = m_record->ask(timeoutMs);
        if (takeSignal()) {
            return 1;
        }
        if (hook) {
            hook(*this, timeoutMs);
            if (takeSignal()) {
                return 1;
            }
        }
        if (timeoutMs == -1) {
            if (detail::runningBodies == 0) { // nobody expects to be left
                std::fputs("FakeWait: wait() without a limit would last for ever: nobody has "
                           "signalled.\n",
                           stderr);
            }
            throw BodyCancelled{};
        }
        return 0;
    }

    int signal() override
    {
        const std::lock_guard<std::mutex> guard(m_record->mutex);
        m_record->signals += 1;
        m_signalled = true;
        return 1;
    }

    /// The limits of all waits so far, in order; -1 for none.
    std::vector<int> asked() const { return m_record->askedSoFar(); }

    /// How often `signal` was called.
    int signals() const { return m_record->signalsSoFar(); }

    /// Sets what waits call that find no signal.
    void whenWaiting(Hook hook) { m_record->setHook(std::move(hook)); }

private:
    friend class FakeWaits;

    /// What the event objects of one factory share.
    struct Record {
        Hook ask(int timeoutMs)
        {
            const std::lock_guard<std::mutex> guard(mutex);
            asked.push_back(timeoutMs);
            return hook;
        }
        std::vector<int> askedSoFar() const
        {
            const std::lock_guard<std::mutex> guard(mutex);
            return asked;
        }
        int signalsSoFar() const
        {
            const std::lock_guard<std::mutex> guard(mutex);
            return signals;
        }
        void setHook(Hook newHook)
        {
            const std::lock_guard<std::mutex> guard(mutex);
            hook = std::move(newHook);
        }

        mutable std::mutex mutex;
        std::vector<int> asked;
        int signals = 0;
        Hook hook;
    };

    explicit FakeWait(std::shared_ptr<Record> record) : m_record(std::move(record)) {}

    bool takeSignal()
    {
        const std::lock_guard<std::mutex> guard(m_record->mutex);
        const bool taken = m_signalled;
        m_signalled = false;
        return taken;
    }

    std::shared_ptr<Record> m_record;
    bool m_signalled = false;
};

/// Makes `FakeWait` objects that share one record and one hook. May be used from any thread; the
/// objects may outlive it.
class FakeWaits : public WaitFactoryIfc
{
public:
    WaitIfc* getNewWait() override { return new FakeWait(m_record); }

    /// The limits of all waits of all objects so far, in order; -1 for none.
    std::vector<int> asked() const { return m_record->askedSoFar(); }

    /// How often any of the objects was signalled.
    int signals() const { return m_record->signalsSoFar(); }

    /// Sets what waits of all objects call that find no signal.
    void whenWaiting(FakeWait::Hook hook) { m_record->setHook(std::move(hook)); }

private:
    std::shared_ptr<FakeWait::Record> m_record = std::make_shared<FakeWait::Record>();
};

} // namespace gpal::testing

#endif
