/// \file
/// The threads of a scenario, and who goes next.
#ifndef GPAL_TESTS_SCHEDULES_SCHEDULER_H
#define GPAL_TESTS_SCHEDULES_SCHEDULER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <time.h>
#include <ucontext.h>
#include <vector>

#include "search.h"

namespace schedules
{

/// The choices of one run: those of the last one up to the last that has another possibility, which
/// is taken. Depth first, every combination comes once.
class Choices
{
public:
    void begin() { m_next = 0; }

    /// One of 0 to \p count - 1.
    int among(int count);

    /// Prepares the next run; false when there is none.
    bool advance();

private:
    struct Choice {
        int chosen;
        int count;
    };
    std::vector<Choice> m_choices;
    std::size_t m_next = 0;
};

class Scheduler
{
public:
    /// What a thread is about to do, or waits for.
    enum class Wish { RUN, LOCK, SIGNAL, JOIN, REST, ENDED };

    /// How a wait for a condition ended.
    enum class Woken { BY_SIGNAL, BY_TIME, BY_CANCELLATION };

    struct Controlled {
        int number = 0;
        ucontext_t context{};
        std::unique_ptr<char[]> stack;
        std::function<void()> body;
        Wish wish = Wish::RUN;
        const void* mutex = nullptr;
        const void* condition = nullptr;
        bool isLimited = false;
        std::int64_t limit = 0; ///< nanoseconds on the scheduler's clock
        Woken woken = Woken::BY_SIGNAL;
        const Controlled* joined = nullptr;
        bool isCancelled = false;
        bool canBeCancelled = true;
    };

    explicit Scheduler(const Bounds& bounds) : m_bounds(bounds) {}

    Found search(const std::function<void()>& scenario);

    /// The search that is going on, if any.
    static Scheduler* running() { return m_running; }

    // Called by the threads of the scenario. Those that take a mutex or condition name it in
    // schedules by its number in order of appearance.

    Controlled& current() { return *m_current; }
    Controlled& create(std::function<void()> body);
    Controlled& byId(unsigned long id);
    static unsigned long idOf(const Controlled& thread)
    {
        return FIRST_ID + static_cast<unsigned long>(thread.number);
    }

    void lock(const void* mutex);
    bool tryLock(const void* mutex);
    void unlock(const void* mutex);
    Woken wait(const void* condition, const void* mutex, const timespec* limit);
    void signal(const void* condition, bool all);
    void join(unsigned long id);
    void cancel(unsigned long id);
    void testCancel();
    void initialise(const void* object);
    void destroy(const void* object, const char* call);
    void rest();
    void step(const char* what);
    timespec now() const;
    void fail(const std::string& what);

private:
    static constexpr unsigned long FIRST_ID = 1001;

    struct Mutex {
        const void* address;
        const Controlled* owner;
        bool isDestroyed;
    };

    /// Something that can happen next.
    struct Action {
        enum Kind { GO_ON, TIME_OUT, SPURIOUS_WAKE_UP, CANCELLATION };
        Kind kind;
        Controlled* thread;
    };

    /// A line of the schedule; made into text only when it is to be shown.
    struct Line {
        int thread;
        const char* what;
        const void* object;
    };

    void runOnce(const std::function<void()>& scenario);
    static void enter(unsigned int low, unsigned int high);
    [[noreturn]] void unwind();
    [[noreturn]] void end();
    void pass(Wish wish, const char* what, const void* object);
    Controlled* next();
    void collectActions();
    bool canGoOn(const Controlled& thread) const;
    void wake(Controlled& thread, Woken how, const char* why);
    template <typename Condition>
    bool isAny(Condition condition) const
    {
        const auto end = m_threads.begin() + static_cast<std::ptrdiff_t>(m_count);
        return std::any_of(m_threads.begin(), end, condition);
    }
    Mutex& mutexAt(const void* address);
    void own(const void* mutex);
    int numberOf(const void* object);
    void log(int thread, const char* what, const void* object = nullptr);
    std::string shown();

    static Scheduler* m_running;

    Bounds m_bounds;
    Choices m_choices;
    std::deque<Controlled> m_threads; ///< those of this run are the first `m_count`
    std::size_t m_count = 0;
    Controlled* m_current = nullptr;
    ucontext_t m_outside{};
    std::vector<Mutex> m_mutexes; ///< conditions, too, of which only the end is of interest
    std::vector<Action> m_actions;
    std::vector<Line> m_lines;
    std::vector<const void*> m_objects;
    int m_preemptions = 0;
    int m_spuriousWakeUps = 0;
    std::int64_t m_now = 0;
    std::string m_failure;
};

} // namespace schedules

#endif
