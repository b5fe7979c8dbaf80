/// \file
/// Sleeping that takes no time.
#ifndef GPAL_TESTING_RECORDINGSLEEP_H
#define GPAL_TESTING_RECORDINGSLEEP_H

#include <functional>
#include <mutex>
#include <vector>

#include <gpal/GPALSleep.h>

namespace gpal::testing
{

/// In force for every `GPALSleep` of the process while it lives: sleeps return at once and are
/// remembered. Real sleeping is in force afterwards. May be used from any thread; none may be
/// sleeping any more when it goes.
class RecordingSleep : public GPALSleep_Imple
{
public:
    /// Called in the sleeping thread, with the milliseconds.
    using Hook = std::function<void(long long ms)>;

    RecordingSleep() { GPALSleep::setImplementation(this); }
    RecordingSleep(const RecordingSleep&) = delete;
    RecordingSleep& operator=(const RecordingSleep&) = delete;
    ~RecordingSleep() override { GPALSleep::setImplementation(nullptr); }

    void milliSleep(int ms) override { sleep(ms); }
    void secSleep(int seconds) override { sleep(seconds * 1000LL); }

    /// All sleeps so far in order, in milliseconds.
    std::vector<long long> asked() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_asked;
    }

    /// Sets what every sleep calls: to let virtual time pass, say, or to end the thread's body by
    /// throwing `BodyCancelled`.
    void whenSleeping(Hook hook)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_hook = std::move(hook);
    }

private:
    void sleep(long long ms)
    {
        const Hook hook = [&] {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_asked.push_back(ms);
            return m_hook;
        }();
        if (hook) {
            hook(ms);
        }
    }

    mutable std::mutex m_mutex;
    std::vector<long long> m_asked;
    Hook m_hook;
};

} // namespace gpal::testing

#endif
