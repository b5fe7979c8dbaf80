#include "stress/layer.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <iterator>
#include <sstream>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "support/observed.h"
#include "support/per_thread.h"

using support::eventually;
using testing::HasSubstr;

namespace stress
{
namespace
{

/// The manager that the thread was announced to.
support::PerThread<RecordingManager> announcedTo;

void reportHang(int /*signal*/)
{
    const char text[] = "the test hangs\n";
    _exit(write(STDERR_FILENO, text, sizeof text - 1) > 0 ? 1 : 2);
}

template <typename Value>
Value valueOf(const std::string& dump, const std::string& label)
{
    Value value{};
    const std::size_t line = dump.find("\n" + label);
    if (line != std::string::npos) {
        std::istringstream(dump.substr(dump.find('=', line) + 1)) >> value;
    }
    return value;
}

int tasksOf(const std::string& process)
{
    std::error_code gone;
    const std::filesystem::directory_iterator tasks("/proc/" + process + "/task", gone);
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

/// The same of the processes that are threads of \p process, as some threads libraries have it: its
/// children, and theirs, that run the same program.
int tasksOfThreadsOf(const std::string& process)
{
    int tasks = 0;
    std::error_code gone;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", gone);
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string number = entry.path().filename();
        std::string status;
        std::getline(std::ifstream(entry.path() / "status"), status, '\0');
        if (status.find("\nPPid:\t" + process + "\n") != std::string::npos &&
            std::filesystem::read_symlink(entry.path() / "exe", gone) == program) {
            tasks += tasksOf(number) + tasksOfThreadsOf(number);
        }
    }
    return tasks;
}

int sleepOnACondition(const timespec* request, timespec* /*rest*/)
{
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += request->tv_sec;
    deadline.tv_nsec += request->tv_nsec;
    if (deadline.tv_nsec >= 1000000000) {
        deadline.tv_nsec -= 1000000000;
        deadline.tv_sec += 1;
    }
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t never = PTHREAD_COND_INITIALIZER;
    pthread_mutex_lock(&mutex);
    pthread_cleanup_push(
        [](void* locked) { pthread_mutex_unlock(static_cast<pthread_mutex_t*>(locked)); }, &mutex);
    while (support::calls::pthread_cond_timedwait.original(&never, &mutex, &deadline) !=
           ETIMEDOUT) {
    }
    pthread_cleanup_pop(1);
    return 0;
}

} // namespace

RecordingManager::RecordingManager() : ProcessManager(nullptr) {}

int RecordingManager::countAdded()
{
    announcedTo.set(this);
    ++m_added;
    whenAdded();
    return 1;
}

int RecordingManager::addThread(Threadable& /*thread*/, int /*threadId*/)
{
    return countAdded();
}

int RecordingManager::addThread(int /*threadId*/, std::string /*name*/)
{
    return countAdded();
}

int RecordingManager::removeThread(int threadId)
{
    if (announcedTo.get() == nullptr || threadId != static_cast<int>(pthread_self())) {
        ++m_wrongRemovals;
    }
    announcedTo.set(nullptr);
    whenRemoved();
    ++m_removed;
    return 0;
}

int RecordingManager::requestNewPriority(int /*threadId*/, GPALThreadPriority priority)
{
    whenPriorityRequested();
    return priority;
}

bool unwindsOutOfJoin()
{
    static const bool unwinds = [] {
        std::promise<void> end;
        std::thread joined([&end] { end.get_future().wait(); });
        std::atomic<bool> unwound{false};
        pthread_t joining{};
        struct Attempt {
            pthread_t joined;
            std::atomic<bool>& unwound;
        } attempt{joined.native_handle(), unwound};
        pthread_create(
            &joining, nullptr,
            [](void* argument) -> void* {
                struct Witness {
                    Attempt& attempt;
                    ~Witness() { attempt.unwound = true; }
                } const witness{*static_cast<Attempt*>(argument)};
                pthread_join(witness.attempt.joined, nullptr);
                return nullptr;
            },
            &attempt);
        pthread_cancel(joining);
        pthread_join(joining, nullptr);
        end.set_value();
        joined.join();
        return unwound.load();
    }();
    return unwinds;
}

Figures figuresOf(Semaphore& semaphore)
{
    const support::Captured console(STDOUT_FILENO);
    semaphore.displayInfo();
    const std::string dump = console.text();
    return {valueOf<int>(dump, "current count"),
            valueOf<unsigned long>(dump, "current owner"),
            valueOf<int>(dump, "give() count") + valueOf<int>(dump, "signal() count"),
            valueOf<int>(dump, "take() count") + valueOf<int>(dump, "wait() count"),
            valueOf<int>(dump, "take() timeout count"),
            valueOf<int>(dump, "Number of threads waiting")};
}

int entriesIn(const char* directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

int threadsInUse()
{
    return tasksOf("self") + tasksOfThreadsOf(std::to_string(getpid()));
}

void awaitWaiting(Semaphore& semaphore, int threads)
{
    EXPECT_TRUE(eventually([&] { return figuresOf(semaphore).waiting == threads; }));
}

int CountingReceiver::timerExpired(osTimerIfc* /*timer*/)
{
    ++m_expiries;
    return 0;
}

int HoldingReceiver::timerExpired(osTimerIfc* /*timer*/)
{
    m_called.signal();
    return m_letGo.wait();
}

void HoldingReceiver::awaitCall()
{
    m_called.wait();
}

void HoldingReceiver::letGo()
{
    m_letGo.signal();
}

void expectNewcomersAreServed()
{
    Semaphore lock(1, 1, false);
    Wait event;
    LayerThread newcomer([&] {
        const CriticalSection section(lock);
        EXPECT_TRUE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_HIGH, 0));
        event.signal();
    });
    EXPECT_EQ(event.wait(60000), 1);
    newcomer.join();
    EXPECT_TRUE(newcomer.isFinished());

    const Figures figures = figuresOf(lock);
    EXPECT_EQ(figures.count, 1);
    EXPECT_EQ(figures.owner, 0U);
    EXPECT_EQ(figures.takes, 1);
    EXPECT_EQ(figures.gives, 1);
    EXPECT_EQ(figures.waiting, 0);

    const support::Captured console(STDOUT_FILENO);
    Semaphore::info(nullptr);
    EXPECT_THAT(console.text(), HasSubstr("= Semaphore\n"));
    EXPECT_THAT(console.text(), HasSubstr("= Wait\n"));
    EXPECT_TRUE(std::cout.good());
}

void expectNewTimersAreServed()
{
    CountingReceiver receiver;
    osTimer timer(&receiver, 50);
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(eventually([&] { return receiver.expiries() == 1; }));
    EXPECT_TRUE(eventually([&] { return !timer.isRunning(); }));
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(timer.stop());
}

WatchedSleep::WatchedSleep()
    : m_nanosleep(support::calls::nanosleep, sleepOnACondition),
      m_sleep(support::calls::sleep, [](unsigned int seconds) {
          const timespec request{static_cast<time_t>(seconds), 0};
          sleepOnACondition(&request, nullptr);
          return 0U;
      })
{
}

void LayerTest::SetUp()
{
    constexpr unsigned int PATIENCE_SECONDS = 100;
    std::signal(SIGALRM, reportHang);
    alarm(PATIENCE_SECONDS);
    if (UNDER_THREAD_SANITIZER) {
        m_watchedSleep.emplace();
    }
    m_manager = new RecordingManager;
    ProcessManagement::initialize(m_manager);
}

void LayerTest::TearDown()
{
    EXPECT_TRUE(eventually([this] { return manager().removed() == manager().added(); }))
        << manager().added() << " came, " << manager().removed() << " went";
    EXPECT_EQ(manager().wrongRemovals(), 0);
    ProcessManagement::uninitialize();
    alarm(0);
}

void MonitorTest::SetUp()
{
    LayerTest::SetUp();
    m_monitor = std::make_unique<osTimerThread>();
}

void MonitorTest::TearDown()
{
    m_monitor.reset();
    LayerTest::TearDown();
}

} // namespace stress
