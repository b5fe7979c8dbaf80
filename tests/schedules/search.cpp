#include "search.h"

#include <cstdlib>

#include "scheduler.h"

namespace schedules
{

int Choices::among(int count)
{
    if (count == 1) {
        return 0;
    }
    if (m_next == m_choices.size()) {
        m_choices.push_back({0, count});
    }
    return m_choices[m_next++].chosen;
}

bool Choices::advance()
{
    while (!m_choices.empty() && m_choices.back().chosen + 1 == m_choices.back().count) {
        m_choices.pop_back();
    }
    if (m_choices.empty()) {
        return false;
    }
    ++m_choices.back().chosen;
    return true;
}

Found search(const std::function<void()>& scenario, const Bounds& bounds)
{
    return Scheduler(bounds).search(scenario);
}

Bounds usualBounds(int preemptions)
{
    Bounds bounds;
    bounds.preemptions = preemptions;
    if (const char* wanted = std::getenv("GPAL_SCHEDULE_PREEMPTIONS"); wanted != nullptr) {
        bounds.preemptions = std::atoi(wanted);
    }
    return bounds;
}

Thread start(std::function<void()> body)
{
    return Scheduler::idOf(Scheduler::running()->create(std::move(body)));
}

void rest()
{
    Scheduler::running()->rest();
}

bool isStuck(Thread thread)
{
    return Scheduler::running()->byId(thread).wish != Scheduler::Wish::ENDED;
}

void dismiss(Thread thread)
{
    Scheduler::running()->cancel(thread);
    Scheduler::running()->join(thread);
}

void step()
{
    Scheduler::running()->step("takes a step");
}

void require(bool condition, const char* what)
{
    if (!condition) {
        Scheduler::running()->fail(what);
        Scheduler::running()->step("has failed");
    }
}

} // namespace schedules
