#include "faults/attempt.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <cxxabi.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "faults/allocations.h"
#include "faults/call_table.h"
#include "faults/more_calls.h"
#include "support/descriptors.h"
#include "support/network_calls.h"
#include "support/observed.h"
#include "support/thread_calls.h"

namespace faults
{
namespace
{

constexpr unsigned int PATIENCE_SECONDS = UNDER_SANITIZER ? 100 : 30;

/// What the child tells the parent.
struct Report {
    Outcome outcome;
    unsigned int left;
    char details[1024];
};

Report& report()
{
    static Report* const shared = static_cast<Report*>(
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return *shared;
}

void complain(Left left, const std::string& details)
{
    Report& shared = report();
    shared.left |= left;
    std::strncat(shared.details, ("; " + details).c_str(),
                 sizeof shared.details - std::strlen(shared.details) - 1);
}

struct Run {
    const Scenario& scenario;
    const Place& place;
    bool well;
};

// Cancellation comes as an exception without an object, which the sanitizer would take the first
// handler's reference to miss.
__attribute__((no_sanitize("null"))) void* client(void* argument)
{
    Run& run = *static_cast<Run*>(argument);
    cancelMe();
    try {
        run.well = run.scenario.run(run.place);
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        run.well = false;
    }
    return nullptr;
}

/// Waits for the thread's end, for a quarter of a second at most.
bool joinInTime(pthread_t thread)
{
    timespec deadline{};
    support::calls::clock_gettime.original(CLOCK_REALTIME, &deadline);
    deadline.tv_nsec += 250000000;
    deadline.tv_sec += deadline.tv_nsec / 1000000000;
    deadline.tv_nsec %= 1000000000;
    return pthread_timedjoin_np(thread, nullptr, &deadline) == 0;
}

/// Runs the scenario on a thread of its own, with the plan in force.
bool runOnce(const Scenario& scenario, const Place& place, const Plan& plan)
{
    Run run{scenario, place, false};
    pthread_t thread{};
    scenario.prepare(place);
    arm(plan);
    support::calls::pthread_create.original(&thread, nullptr, client, &run);
    while (!joinInTime(thread)) {
        if (outcome().struck && (allowed(scenario.name, outcome().call) & BLOCKS) != 0) {
            pthread_cancel(thread);
        }
    }
    disarm();
    scenario.finish(place);
    return run.well;
}

/// What the process has.
struct Belongings {
    long blocks;
    int locks;
    int threads;
    std::set<std::string> descriptors;
};

int threadCount()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

Belongings lookAround()
{
    return {blocksInUse(), heldLocks(), threadCount(), support::openDescriptors()};
}

void compareDescriptors(const Belongings& before, const Belongings& now)
{
    for (const std::string& descriptor : now.descriptors) {
        if (before.descriptors.count(descriptor) == 0) {
            complain(DESCRIPTOR_LEFT, "open: " + descriptor);
        }
    }
    for (const std::string& descriptor : before.descriptors) {
        if (now.descriptors.count(descriptor) == 0) {
            complain(DESCRIPTOR_LEFT, "closed: " + descriptor);
        }
    }
}

/// Children that are left, or in the way of being reaped; they are ended.
void lookForChildren()
{
    int status = 0;
    pid_t child = 0;
    while ((child = support::calls::waitpid.original(-1, &status, WNOHANG)) != -1) {
        if (child == 0) {
            siginfo_t running{};
            waitid(P_ALL, 0, &running, WEXITED | WNOWAIT);
            child = running.si_pid;
            support::calls::waitpid.original(child, &status, 0);
        }
        complain(CHILD_LEFT, "child " + std::to_string(child));
    }
}

/// Whether blocks stay in use each time, and not only the first.
bool leaks(const Scenario& scenario, const Place& place, const Plan& plan)
{
    constexpr int REPETITIONS = 3;
    const std::string call = outcome().call;
    int growing = 0;
    for (int repetition = 0; repetition < REPETITIONS; ++repetition) {
        const long before = blocksInUse();
        runOnce(scenario, place, plan);
        growing += blocksInUse() > before && call == outcome().call ? 1 : 0;
        lookForChildren();
        temporaryFilesLeft(); // removes them
    }
    return growing == REPETITIONS;
}

/// What the child does.
void strikeAndLook(const Scenario& scenario, const Place& place, const Plan& plan)
{
    const Belongings before = lookAround();
    const bool well = runOnce(scenario, place, plan);
    report().outcome = outcome();
    const long blocks = blocksInUse();
    lookForChildren();
    if (outcome().reboots > 0) {
        complain(REBOOTS, "reboot");
    }
    for (const std::string& name : temporaryFilesLeft()) {
        complain(FILE_LEFT, name);
    }
    if (!support::eventually(
            [&] { return threadCount() <= before.threads + scenario.threadsKept; })) {
        complain(THREAD_LEFT, std::to_string(threadCount() - before.threads) + " threads");
    }
    const Belongings now = lookAround();
    compareDescriptors(before, now);
    if (now.locks != before.locks) {
        complain(LOCK_LEFT, std::to_string(now.locks - before.locks) + " locks held");
    }
    if (!outcome().struck && !well) {
        complain(NOT_WELL, "did not succeed");
    }
    if (blocks > before.blocks && leaks(scenario, place, plan)) {
        complain(MEMORY_LEFT, std::to_string(blocks - before.blocks) + " blocks of memory");
    }
    if (!runOnce(scenario, place, {})) {
        complain(SPOILS_NEXT, "the next did not succeed");
    }
}

/// What the layer prints goes to a file, which is read when something went wrong.
void writeOutputTo(const std::string& file)
{
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    dup2(descriptor, STDOUT_FILENO);
    dup2(descriptor, STDERR_FILENO);
    close(descriptor);
}

std::string endOf(pid_t child)
{
    int status = 0;
    support::calls::waitpid.original(child, &status, 0);
    if (WIFSIGNALED(status)) {
        return WTERMSIG(status) == SIGALRM ? "hangs" : strsignal(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0 ? "" : "exit code " + std::to_string(WEXITSTATUS(status));
}

} // namespace

void warmUp(const Scenario& scenario, const Place& place)
{
    const support::Captured output(STDOUT_FILENO);
    const support::Captured errors(STDERR_FILENO);
    makeHaste(true);
    runOnce(scenario, place, {});
    runOnce(scenario, place, {});
    makeHaste(false);
}

Result attempt(const Scenario& scenario, const Place& place, const Plan& plan)
{
    report() = Report();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(PATIENCE_SECONDS);
        makeHaste(true);
        writeOutputTo(place.file("output"));
        strikeAndLook(scenario, place, plan);
        _exit(0);
    }
    Result result;
    result.endedBy = endOf(child);
    result.outcome = result.endedBy.empty() ? report().outcome : outcome();
    result.left = report().left;
    result.details = report().details;
    return result;
}

} // namespace faults
