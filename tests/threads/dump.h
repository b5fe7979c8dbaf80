/// \file
/// What the console dumps of semaphores and event objects say; tests see the state of these objects
/// through them.
#ifndef GPAL_TESTS_THREADS_DUMP_H
#define GPAL_TESTS_THREADS_DUMP_H

#include <string>
#include <utility>
#include <vector>

#include <gpal/Semaphore.h>

/// The line that begins and ends a dump.
const std::string RULE = "**************************************\n";

/// One dump, taken apart.
class Dump
{
public:
    /// The dumps in \p text, in their order.
    static std::vector<Dump> parse(const std::string& text);

    /// The value behind a label; fails the test and returns "" when the dump has no such label.
    std::string text(const std::string& label) const;
    long number(const std::string& label) const;
    unsigned long thread(const std::string& label) const;

    long count() const { return number("current count"); }
    unsigned long owner() const { return thread("current owner"); }
    long waitingCount() const { return number("Number of threads waiting"); }

    /// The ids of the waiting threads, as listed.
    const std::vector<unsigned long>& waitingThreads() const { return m_waitingThreads; }

private:
    std::vector<std::pair<std::string, std::string>> m_fields;
    std::vector<unsigned long> m_waitingThreads;
};

/// The time-out of a take that waits for as long as it takes.
constexpr int WITHOUT_LIMIT = -1;

/// What `displayInfo` prints for one object.
std::string dumpTextOf(Semaphore& semaphore);
Dump dumpOf(Semaphore& semaphore);

/// What `Semaphore::info` prints for all live objects.
std::string dumpTextOfAll();
std::vector<Dump> dumpOfAll();

/// Expects that one semaphore is alive, which nobody can hold twice, and that it has \p count
/// units.
void expectOnlyOneUnitAnywhere(int count);

/// An address as dumps print it.
std::string addressText(const void* address);

/// Waits until \p count threads are queued in \p semaphore; each of them is in its wait, or will be
/// before anybody else gets the semaphore's lock. Returns whether they are.
bool areQueued(Semaphore& semaphore, long count);

#endif
