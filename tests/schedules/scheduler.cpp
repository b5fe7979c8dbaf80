#include "scheduler.h"

#include <algorithm>
#include <cstdlib>
#include <unwind.h>

namespace schedules
{

namespace
{

constexpr std::size_t STACK_SIZE = 256 * 1024;
constexpr std::size_t LONGEST_RUN = 20000; // steps
constexpr std::int64_t SECOND = 1000000000;
constexpr std::int64_t START = 1000 * SECOND + SECOND / 4; // of the clock; no whole second

} // namespace

Scheduler* Scheduler::m_running = nullptr;

Found Scheduler::search(const std::function<void()>& scenario)
{
    Found found;
    do {
        runOnce(scenario);
        ++found.schedules;
    } while (m_failure.empty() && m_choices.advance());
    found.failure = m_failure;
    return found;
}

void Scheduler::runOnce(const std::function<void()>& scenario)
{
    m_choices.begin();
    m_count = 0;
    m_mutexes.clear();
    m_lines.clear();
    m_objects.clear();
    m_preemptions = m_bounds.preemptions;
    m_spuriousWakeUps = m_bounds.spuriousWakeUps;
    m_now = START;
    m_current = &create(scenario);
    m_running = this;
    swapcontext(&m_outside, &m_current->context);
    m_running = nullptr;
}

Scheduler::Controlled& Scheduler::create(std::function<void()> body)
{
    if (m_count == m_threads.size()) {
        m_threads.emplace_back();
        m_threads.back().stack = std::make_unique<char[]>(STACK_SIZE);
    }
    Controlled& thread = m_threads[m_count];
    auto stack = std::move(thread.stack);
    thread = Controlled{};
    thread.number = static_cast<int>(m_count++);
    thread.stack = std::move(stack);
    thread.body = std::move(body);
    getcontext(&thread.context);
    thread.context.uc_stack.ss_sp = thread.stack.get();
    thread.context.uc_stack.ss_size = STACK_SIZE;
    // A pointer in two halves: contexts take numbers only.
    const auto self = reinterpret_cast<std::uint64_t>(this);
    makecontext(&thread.context, reinterpret_cast<void (*)()>(enter), 2,
                static_cast<unsigned int>(self), static_cast<unsigned int>(self >> 32));
    return thread;
}

void Scheduler::enter(unsigned int low, unsigned int high)
{
    auto& self = *reinterpret_cast<Scheduler*>(std::uint64_t{high} << 32 | low);
    self.m_current->body();
    self.end();
}

/// Ends the thread as the C library does when it is cancelled.
void Scheduler::unwind()
{
    static _Unwind_Exception cancellation[16]; // as each thread may be under way
    const auto stop = [](int, _Unwind_Action actions, _Unwind_Exception_Class, _Unwind_Exception*,
                         _Unwind_Context*, void* self) {
        if ((actions & _UA_END_OF_STACK) != 0) {
            static_cast<Scheduler*>(self)->end();
        }
        return _URC_NO_REASON;
    };
    m_current->isCancelled = false;
    m_current->canBeCancelled = false;
    _Unwind_ForcedUnwind(&cancellation[m_current->number], stop, this);
    std::abort();
}

void Scheduler::end()
{
    m_current->body = nullptr;
    m_current->wish = Wish::ENDED;
    log(m_current->number, "ends");
    Controlled* const following = m_current->number == 0 ? nullptr : next();
    if (following == nullptr) {
        if (m_current->number == 0 && m_failure.empty()) {
            const bool left = isAny([](const Controlled& t) { return t.wish != Wish::ENDED; });
            m_failure = left ? "the scenario ends before its threads\n" + shown() : "";
        }
        setcontext(&m_outside);
    }
    m_current = following;
    setcontext(&m_current->context);
    std::abort();
}

/// Lets others go first, as the search wants, before the calling thread does what it wishes.
void Scheduler::pass(Wish wish, const char* what, const void* object)
{
    Controlled& self = *m_current;
    self.wish = wish;
    Controlled* const following = next();
    if (following == nullptr) {
        setcontext(&m_outside);
    }
    if (following != &self) {
        m_current = following;
        swapcontext(&self.context, &following->context);
    }
    self.wish = Wish::RUN;
    if (what != nullptr) {
        log(self.number, what, object);
    }
}

/// Who goes next, after what happens to those that wait; null when the run has failed.
Scheduler::Controlled* Scheduler::next()
{
    while (m_failure.empty()) {
        if (m_lines.size() > LONGEST_RUN) {
            fail("this goes on for ever");
            break;
        }
        collectActions();
        if (m_actions.empty()) {
            fail("nobody can go on");
            break;
        }
        // The one that is running comes first: going on with it costs nothing.
        const bool goesOn = m_actions.front().thread == m_current;
        const int count = goesOn && m_preemptions == 0 ? 1 : static_cast<int>(m_actions.size());
        const int chosen = m_choices.among(count);
        m_preemptions -= goesOn && chosen != 0 ? 1 : 0;
        const Action action = m_actions[static_cast<std::size_t>(chosen)];
        switch (action.kind) {
        case Action::GO_ON:
            return action.thread;
        case Action::TIME_OUT:
            m_now = std::max(m_now, action.thread->limit);
            wake(*action.thread, Woken::BY_TIME, "is timed out");
            break;
        case Action::SPURIOUS_WAKE_UP:
            --m_spuriousWakeUps;
            wake(*action.thread, Woken::BY_SIGNAL, "wakes up for no reason");
            break;
        case Action::CANCELLATION:
            wake(*action.thread, Woken::BY_CANCELLATION, "is cancelled while it waits");
        }
    }
    return nullptr;
}

void Scheduler::collectActions()
{
    m_actions.clear();
    Controlled* resting = nullptr;
    if (canGoOn(*m_current)) {
        m_actions.push_back({Action::GO_ON, m_current});
    }
    for (std::size_t number = 0; number < m_count; ++number) {
        Controlled& thread = m_threads[number];
        if (thread.wish == Wish::REST) {
            resting = &thread;
        }
        if (&thread != m_current && canGoOn(thread)) {
            m_actions.push_back({Action::GO_ON, &thread});
        }
        if (thread.wish == Wish::SIGNAL && thread.isLimited) {
            m_actions.push_back({Action::TIME_OUT, &thread});
        }
        if (thread.wish == Wish::SIGNAL && thread.isCancelled && thread.canBeCancelled) {
            m_actions.push_back({Action::CANCELLATION, &thread});
        }
    }
    if (m_actions.empty() && resting != nullptr) {
        m_actions.push_back({Action::GO_ON, resting});
    }
    for (std::size_t number = 0; number < m_count && m_spuriousWakeUps > 0; ++number) {
        if (m_threads[number].wish == Wish::SIGNAL && !m_actions.empty()) {
            m_actions.push_back({Action::SPURIOUS_WAKE_UP, &m_threads[number]});
        }
    }
}

bool Scheduler::canGoOn(const Controlled& thread) const
{
    switch (thread.wish) {
    case Wish::RUN:
        return true;
    case Wish::LOCK:
        return std::none_of(m_mutexes.begin(), m_mutexes.end(), [&](const Mutex& mutex) {
            return mutex.address == thread.mutex && mutex.owner != nullptr;
        });
    case Wish::JOIN:
        return thread.joined->wish == Wish::ENDED || (thread.isCancelled && thread.canBeCancelled);
    default:
        return false;
    }
}

/// A wait is over when its mutex is locked again.
void Scheduler::wake(Controlled& thread, Woken how, const char* why)
{
    log(thread.number, why, thread.condition);
    thread.woken = how;
    thread.wish = Wish::LOCK;
}

Scheduler::Mutex& Scheduler::mutexAt(const void* address)
{
    const auto found = std::find_if(m_mutexes.begin(), m_mutexes.end(),
                                    [=](const Mutex& mutex) { return mutex.address == address; });
    return found != m_mutexes.end() ? *found
                                    : m_mutexes.emplace_back(Mutex{address, nullptr, false});
}

void Scheduler::own(const void* mutex)
{
    Mutex& owned = mutexAt(mutex);
    if (owned.isDestroyed) {
        fail("a mutex is locked that has been destroyed");
    }
    owned.owner = m_current;
}

void Scheduler::lock(const void* mutex)
{
    m_current->mutex = mutex;
    pass(Wish::LOCK, "locks", mutex);
    own(mutex);
}

bool Scheduler::tryLock(const void* mutex)
{
    pass(Wish::RUN, "tries to lock", mutex);
    const bool isFree = mutexAt(mutex).owner == nullptr;
    if (isFree) {
        own(mutex);
    }
    return isFree;
}

/// Others may go first after this, and not before: they can't see what is done with the mutex
/// locked, but what is done without it next.
void Scheduler::unlock(const void* mutex)
{
    log(m_current->number, "unlocks", mutex);
    Mutex& owned = mutexAt(mutex);
    if (owned.owner != m_current || owned.isDestroyed) {
        fail("a mutex is unlocked by who has not locked it");
    }
    owned.owner = nullptr;
    pass(Wish::RUN, nullptr, nullptr);
}

Scheduler::Woken Scheduler::wait(const void* condition, const void* mutex, const timespec* limit)
{
    Controlled& self = *m_current;
    pass(Wish::RUN, limit != nullptr ? "waits with a limit for" : "waits for", condition);
    if (mutexAt(mutex).owner != &self) {
        fail("a condition is waited for by who has not locked its mutex");
    }
    mutexAt(mutex).owner = nullptr;
    self.mutex = mutex;
    self.condition = condition;
    self.isLimited = limit != nullptr;
    self.limit = self.isLimited ? limit->tv_sec * SECOND + limit->tv_nsec : 0;
    pass(Wish::SIGNAL, "goes on with", mutex);
    own(mutex);
    if (self.woken == Woken::BY_CANCELLATION) {
        unwind();
    }
    return self.woken;
}

void Scheduler::signal(const void* condition, bool all)
{
    pass(Wish::RUN, all ? "broadcasts" : "signals", condition);
    if (mutexAt(condition).isDestroyed) {
        fail("a condition is signalled that has been destroyed");
    }
    std::vector<Controlled*> waiting;
    for (std::size_t number = 0; number < m_count; ++number) {
        Controlled& thread = m_threads[number];
        if (thread.wish == Wish::SIGNAL && thread.condition == condition) {
            waiting.push_back(&thread);
        }
    }
    if (!all && !waiting.empty()) {
        waiting = {
            waiting[static_cast<std::size_t>(m_choices.among(static_cast<int>(waiting.size())))]};
    }
    for (Controlled* thread : waiting) {
        wake(*thread, Woken::BY_SIGNAL, "is woken by");
    }
}

Scheduler::Controlled& Scheduler::byId(unsigned long id)
{
    if (id < FIRST_ID || id >= FIRST_ID + m_count) {
        fail("an id is no thread's");
        setcontext(&m_outside);
    }
    return m_threads[id - FIRST_ID];
}

void Scheduler::join(unsigned long id)
{
    m_current->joined = &byId(id);
    pass(Wish::JOIN, "has waited for the end of", nullptr);
    testCancel();
}

void Scheduler::cancel(unsigned long id)
{
    pass(Wish::RUN, "cancels another", nullptr);
    byId(id).isCancelled = true;
}

void Scheduler::testCancel()
{
    if (m_current->isCancelled && m_current->canBeCancelled) {
        log(m_current->number, "is cancelled");
        unwind();
    }
}

void Scheduler::initialise(const void* object)
{
    mutexAt(object) = {object, nullptr, false};
}

void Scheduler::destroy(const void* object, const char* call)
{
    pass(Wish::RUN, call, object);
    const bool isInUse = mutexAt(object).owner != nullptr || isAny([=](const Controlled& thread) {
                             return (thread.wish == Wish::SIGNAL && thread.condition == object) ||
                                    (thread.wish == Wish::LOCK && thread.mutex == object);
                         });
    if (isInUse) {
        fail("something is destroyed that is in use");
    }
    mutexAt(object).isDestroyed = true;
}

void Scheduler::rest()
{
    pass(Wish::REST, "sees the others at rest", nullptr);
}

void Scheduler::step(const char* what)
{
    pass(Wish::RUN, what, nullptr);
}

timespec Scheduler::now() const
{
    return {static_cast<time_t>(m_now / SECOND), static_cast<long>(m_now % SECOND)};
}

/// The first failure is the one that counts. It ends the run at the next step.
void Scheduler::fail(const std::string& what)
{
    if (m_failure.empty()) {
        m_failure = what + "\n" + shown();
    }
}

int Scheduler::numberOf(const void* object)
{
    const auto found = std::find(m_objects.begin(), m_objects.end(), object);
    const auto number = static_cast<int>(found - m_objects.begin());
    if (found == m_objects.end()) {
        m_objects.push_back(object);
    }
    return number;
}

void Scheduler::log(int thread, const char* what, const void* object)
{
    m_lines.push_back({thread, what, object});
}

std::string Scheduler::shown()
{
    std::string text;
    for (const Line& line : m_lines) {
        text += "    thread " + std::to_string(line.thread) + " " + line.what;
        text += line.object != nullptr ? " #" + std::to_string(numberOf(line.object)) : "";
        text += "\n";
    }
    return text;
}

} // namespace schedules
