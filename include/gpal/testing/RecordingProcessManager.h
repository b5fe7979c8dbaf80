/// \file
/// A process manager and a priority setter that remember what they are told and set nothing.
#ifndef GPAL_TESTING_RECORDINGPROCESSMANAGER_H
#define GPAL_TESTING_RECORDINGPROCESSMANAGER_H

#include <mutex>
#include <string>
#include <vector>

#include <gpal/Process.h>
#include <gpal/ProcessManager.h>
#include <gpal/Threadable.h>

namespace gpal::testing
{

/// Answers as if every nice value could be had: the one asked for, 0 where none is. May be used
/// from any thread.
class RecordingPrioritySetter : public PrioritySetter
{
public:
    /// What was asked for, by whom.
    struct Request {
        std::string name; ///< name of the thread or type of the process
        unsigned long id; ///< of the thread or process
        int niceValue;    ///< what was asked for
        /// Whether all of it is the same.
        bool operator==(const Request& other) const
        {
            return name == other.name && id == other.id && niceValue == other.niceValue;
        }
    };

    int setThreadPriority(std::string name, unsigned long threadId) override
    {
        return note({name, threadId, 0});
    }
    int setProcessPriority(std::string type, int pid) override
    {
        return note({type, static_cast<unsigned long>(pid), 0});
    }
    int requestThreadPriority(std::string name, unsigned long threadId, int niceValue) override
    {
        return note({name, threadId, niceValue});
    }
    int requestProcessPriority(std::string type, int pid, int niceValue) override
    {
        return note({type, static_cast<unsigned long>(pid), niceValue});
    }

    /// All requests so far, in order. What is only announced counts as a request for 0.
    std::vector<Request> requests() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_requests;
    }

private:
    int note(const Request& request)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_requests.push_back(request);
        return request.niceValue;
    }

    mutable std::mutex m_mutex;
    std::vector<Request> m_requests;
};

/// The layer's process manager while it lives; the one before it is in force again afterwards. It
/// does what the ordinary one does, on a `RecordingPrioritySetter`. May be told from any thread;
/// made and destroyed while no other thread uses the layer.
class RecordingProcessManager : public ProcessManager
{
public:
    /// A thread or process as it was announced.
    struct Announced {
        std::string type; ///< type, or the name that the thread was given
        int id;           ///< kernel id
        /// Whether all of it is the same.
        bool operator==(const Announced& other) const
        {
            return type == other.type && id == other.id;
        }
    };

    RecordingProcessManager()
        : ProcessManager(&m_setter), m_before(ProcessManagement::m_testManager)
    {
        ProcessManagement::initialize(this);
    }
    RecordingProcessManager(const RecordingProcessManager&) = delete;
    RecordingProcessManager& operator=(const RecordingProcessManager&) = delete;
    ~RecordingProcessManager() override { ProcessManagement::initialize(m_before); }

    int addThread(Threadable& thread, int threadId) override
    {
        note(m_threads, {thread.type(), threadId});
        return ProcessManager::addThread(thread, threadId);
    }
    int addThread(int threadId, std::string name) override
    {
        note(m_threads, {name, threadId});
        return ProcessManager::addThread(threadId, name);
    }
    int removeThread(int threadId) override
    {
        note(m_ended, threadId);
        return ProcessManager::removeThread(threadId);
    }
    int addProcess(Process& process) override
    {
        note(m_processes, {process.type(), process.ID()});
        return ProcessManager::addProcess(process);
    }

    /// The threads that were announced so far, in order.
    std::vector<Announced> threads() const { return copyOf(m_threads); }
    /// The POSIX ids, cut to an int, of the threads that have ended so far.
    std::vector<int> endedThreads() const { return copyOf(m_ended); }
    /// The child processes that were announced so far, in order.
    std::vector<Announced> processes() const { return copyOf(m_processes); }
    /// The priorities that were asked for so far, in order.
    std::vector<RecordingPrioritySetter::Request> priorities() const { return m_setter.requests(); }

private:
    template <typename Element>
    void note(std::vector<Element>& list, const Element& element)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        list.push_back(element);
    }

    template <typename Element>
    std::vector<Element> copyOf(const std::vector<Element>& list) const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return list;
    }

    RecordingPrioritySetter m_setter;
    ProcessManager* m_before;
    mutable std::mutex m_mutex;
    std::vector<Announced> m_threads;
    std::vector<int> m_ended;
    std::vector<Announced> m_processes;
};

} // namespace gpal::testing

#endif
