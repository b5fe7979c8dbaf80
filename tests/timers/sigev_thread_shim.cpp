#include "timers/sigev_thread_shim.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "support/replaceable.h"

namespace calls = support::calls;

namespace timertest
{
namespace
{

#if defined(__SANITIZE_THREAD__)
constexpr bool SANITIZER_LACKS_SERVICE = true;
#else
constexpr bool SANITIZER_LACKS_SERVICE = false;
#endif

// The wall clock: the sanitizer knows waits on it, but not those on other clocks.
using Clock = std::chrono::system_clock;

// For waits without a limit, which call themselves where the loader knows no versions of symbols.
constexpr std::chrono::hours AGES{1};

/// One timer: a thread that waits for the expiry and makes the notification itself.
class ShimTimer
{
public:
    explicit ShimTimer(const sigevent& event) : m_event(event), m_thread([this] { serve(); }) {}

    ~ShimTimer()
    {
        change([this] { m_deleted = true; });
        m_thread.join();
    }

    void set(const itimerspec& value, itimerspec* oldValue)
    {
        using namespace std::chrono;
        change([&] {
            const nanoseconds left = m_armed ? m_expiry - Clock::now() : nanoseconds(0);
            if (oldValue != nullptr) {
                const auto whole = duration_cast<seconds>(left);
                *oldValue = {};
                oldValue->it_value.tv_sec = static_cast<time_t>(whole.count());
                oldValue->it_value.tv_nsec = static_cast<long>((left - whole).count());
            }
            m_armed = value.it_value.tv_sec != 0 || value.it_value.tv_nsec != 0;
            m_expiry = Clock::now() + seconds(value.it_value.tv_sec) +
                       duration_cast<Clock::duration>(nanoseconds(value.it_value.tv_nsec));
        });
    }

private:
    template <typename Change>
    void change(Change applyChange)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        applyChange();
        m_changed.notify_one();
    }

    void serve()
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        while (!m_deleted) {
            if (!m_armed) {
                m_changed.wait_for(guard, AGES);
            } else if (Clock::now() < m_expiry) {
                const Clock::time_point expiry = m_expiry;
                m_changed.wait_until(guard, expiry);
            } else {
                m_armed = false;
                guard.unlock();
                m_event.sigev_notify_function(m_event.sigev_value);
                guard.lock();
            }
        }
    }

    sigevent m_event;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_armed = false;
    bool m_deleted = false;
    Clock::time_point m_expiry;
    std::thread m_thread; ///< last: it uses the others
};

ShimTimer& shimOf(timer_t timer)
{
    return *static_cast<ShimTimer*>(timer);
}

/// Arms a real timer for a millisecond and waits for its notification.
bool realServiceWorks()
{
    static std::atomic<bool> notified{false};
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD;
    event.sigev_notify_function = [](sigval) { notified = true; };
    timer_t timer{};
    if (calls::timer_create.original(CLOCK_REALTIME, &event, &timer) != 0) {
        return false;
    }
    const itimerspec value{{0, 0}, {0, 1000000}};
    calls::timer_settime.original(timer, 0, &value, nullptr);
    for (int tries = 0; tries < 1000 && !notified; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    calls::timer_delete.original(timer);
    return notified;
}

} // namespace

class ShimInstallation
{
    support::Replacement<int(clockid_t, sigevent*, timer_t*)> m_create{
        calls::timer_create, [](clockid_t, sigevent* event, timer_t* timer) {
            *timer = new ShimTimer(*event);
            return 0;
        }};
    support::Replacement<int(timer_t, int, const itimerspec*, itimerspec*)> m_set{
        calls::timer_settime,
        [](timer_t timer, int, const itimerspec* value, itimerspec* oldValue) {
            shimOf(timer).set(*value, oldValue);
            return 0;
        }};
    support::Replacement<int(timer_t)> m_overrun{calls::timer_getoverrun,
                                                 [](timer_t) { return 0; }};
    support::Replacement<int(timer_t)> m_delete{calls::timer_delete, [](timer_t timer) {
                                                    delete &shimOf(timer);
                                                    return 0;
                                                }};
};

SigevThreadService::SigevThreadService()
{
    if (SANITIZER_LACKS_SERVICE || !realServiceWorks()) {
        m_shim = std::make_unique<ShimInstallation>();
    }
}

SigevThreadService::~SigevThreadService() = default;

} // namespace timertest
