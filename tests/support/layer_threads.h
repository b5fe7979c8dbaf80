/// \file
/// Threads of the layer as tests use them, and a process manager that writes down what it is told.
#ifndef GPAL_TESTS_SUPPORT_LAYER_THREADS_H
#define GPAL_TESTS_SUPPORT_LAYER_THREADS_H

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <gpal/ProcessManager.h>
#include <gpal/Threader.h>

namespace support
{

/// What happened, in order; any thread may add to it.
class Timeline
{
public:
    void add(const std::string& event);
    std::vector<std::string> events() const;

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_events;
};

/// The words in which `RecordedManager` writes down what it is told.
std::string announced(const std::string& type, int kernelId);
std::string announcedByName(const std::string& name, int kernelId);
std::string priorityRequested(int kernelId, int priority);
std::string removed(unsigned long threadId);
std::string processStarted(const std::string& type, int pid);

/// Puts a process manager in force, for a scope, that writes down what it is told.
class RecordedManager
{
public:
    explicit RecordedManager(Timeline& timeline);
    RecordedManager(const RecordedManager&) = delete;
    RecordedManager& operator=(const RecordedManager&) = delete;
    ~RecordedManager();

    /// Called inside the operation, once it is written down; set before threads are started.
    std::function<void()> whenAnnounced = [] {};
    std::function<void()> whenRemoved = [] {};
    std::function<int(GPALThreadPriority)> answer = [](GPALThreadPriority level) { return level; };
};

/// A thread's body made of a function.
class Body : public Threadable
{
public:
    explicit Body(std::function<void()> work) : m_work(std::move(work)) {}
    void run() override { m_work(); }

private:
    std::function<void()> m_work;
};

/// How a thread of the layer can be made.
enum class Kind { THREADABLE, FUNCTION };

/// Names the tests of each kind, for INSTANTIATE_TEST_SUITE_P.
inline std::string nameOfKind(const testing::TestParamInfo<Kind>& tested)
{
    return tested.param == Kind::THREADABLE ? "threadable" : "function";
}

/// A thread of the layer of either kind that does some work; joined at the latest at its end. The
/// function thread has the level NORMAL and no name.
class LayerThread
{
public:
    explicit LayerThread(const std::function<void()>& work) : LayerThread(Kind::THREADABLE, work) {}
    LayerThread(Kind kind, const std::function<void()>& work);
    LayerThread(const LayerThread&) = delete;
    LayerThread& operator=(const LayerThread&) = delete;
    ~LayerThread() { join(); }

    unsigned long id() const { return m_id; }
    Threadable& body() { return m_body; }
    void cancel(); ///< asks the thread to end
    void* join();  ///< returns what the thread ended with, at the first call

    /// Whether the thread sleeps in the kernel, and for a while already.
    bool isAsleep() const;
    /// Whether the work came to its end, rather than being cut short by cancellation.
    bool isFinished() const { return m_isFinished; }

private:
    Body m_body;
    unsigned long m_id = 0;
    std::atomic<int> m_kernelId{0};
    std::atomic<bool> m_isFinished{false};
    bool m_joined = false;
};

/// Stays until the thread is cancelled, and makes sure that it is.
[[noreturn]] void stayUntilCancelled();

/// Whether this process may lower nice values; where it may not, levels cannot be read back.
bool mayLowerNiceValues();

/// The calling thread's nice value.
int ownNiceValue();

} // namespace support

#endif
