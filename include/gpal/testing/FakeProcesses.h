/// \file
/// Child processes that never run and end as they are told.
#ifndef GPAL_TESTING_FAKEPROCESSES_H
#define GPAL_TESTING_FAKEPROCESSES_H

#include <csignal>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <gpal/Process.h>
#include <gpal/ProcessTypeString.h>

namespace gpal::testing
{

/// A factory of processes. A child of theirs is there from `start` until `waitForExit`, which
/// returns at once what the test has set for its program, or -1 for a child that was sent SIGKILL.
/// SIGUSR1 and SIGUSR2 are remembered and do no harm.
///
/// No program is looked for, and nothing is announced to the process manager or logged. Process ids
/// are larger than any that the kernel hands out. What a never-started object would do to the
/// caller's whole process group is refused, as a failure of the test.
///
/// May be used from any thread. Processes are the caller's, to be given back to `destroy` or
/// deleted, and may outlive the factory.
class FakeProcesses : public ProcessFactoryIfc
{
public:
    /// An exit code that stands for a child that a signal ended.
    static constexpr int BY_SIGNAL = -1;

    /// A signal that a fake process was sent.
    struct SignalSent {
        int pid;    ///< the process
        int signal; ///< the signal that it was sent
        /// Whether all of it is the same.
        bool operator==(const SignalSent& other) const
        {
            return pid == other.pid && signal == other.signal;
        }
    };

    ProcessIfc* getProcess() override { return new FakeProcess(m_children); }
    void destroy(ProcessIfc* process) override { delete process; }

    /// Sets how children end that run \p program: with an exit code, 0 to 255, or `BY_SIGNAL`. They
    /// end with 0 unless something is set.
    void exitWith(const std::string& program, int code)
    {
        const std::lock_guard<std::mutex> guard(m_children->mutex);
        m_children->exitCodes[program] = code;
    }

    /// Makes `start` of \p program throw `GPALProcessException` with \p message.
    void failToStart(const std::string& program,
                     const std::string& message = "GPAL Process creation failure")
    {
        const std::lock_guard<std::mutex> guard(m_children->mutex);
        m_children->failures[program] = message;
    }

    /// The argument vectors of all children so far, in order.
    std::vector<std::vector<std::string>> started() const
    {
        const std::lock_guard<std::mutex> guard(m_children->mutex);
        return m_children->started;
    }

    /// The signals that were sent to children so far, in order; SIGTERM is what the end of an
    /// object sends to a child that is still there.
    std::vector<SignalSent> signals() const
    {
        const std::lock_guard<std::mutex> guard(m_children->mutex);
        return m_children->signals;
    }

private:
    /// What the test has set, and what happened.
    struct Children {
        mutable std::mutex mutex;
        std::map<std::string, int> exitCodes;
        std::map<std::string, std::string> failures;
        std::vector<std::vector<std::string>> started;
        std::vector<SignalSent> signals;

        /// Throws if that is what was set; returns the child's process id.
        int start(const std::vector<std::string>& arguments)
        {
            constexpr int BEYOND_ALL_OF_THE_KERNEL = 1 << 23;
            const std::lock_guard<std::mutex> guard(mutex);
            const auto failure = failures.find(arguments.front());
            if (failure != failures.end()) {
                throw GPALProcessException(failure->second);
            }
            started.push_back(arguments);
            return BEYOND_ALL_OF_THE_KERNEL + static_cast<int>(started.size());
        }

        int exitCodeOf(const std::string& program) const
        {
            const std::lock_guard<std::mutex> guard(mutex);
            const auto found = exitCodes.find(program);
            return found == exitCodes.end() ? 0 : found->second;
        }

        void send(int pid, int signal)
        {
            const std::lock_guard<std::mutex> guard(mutex);
            signals.push_back({pid, signal});
        }
    };

    class FakeProcess : public ProcessIfc
    {
    public:
        explicit FakeProcess(std::shared_ptr<Children> children) : m_children(std::move(children))
        {
        }
        FakeProcess(const FakeProcess&) = delete;
        FakeProcess& operator=(const FakeProcess&) = delete;
        ~FakeProcess() override
        {
            if (m_pid != 0 && m_isThere) {
                m_children->send(m_pid, SIGTERM);
            }
        }

        int start(int /*argc*/, char** argv, char** /*envp*/, char* /*extra*/) override
        {
            if (argv == nullptr || argv[0] == nullptr) {
                throw GPALProcessException("GPAL Process missing application");
            }
            std::vector<std::string> arguments;
            for (char** argument = argv; *argument != nullptr; ++argument) {
                arguments.emplace_back(*argument);
            }
            m_pid = m_children->start(arguments);
            m_type = arguments.front();
            m_isThere = true;
            m_isKilled = false;
            return 1;
        }

        int waitForExit() override
        {
            if (isNeverStarted("waitForExit() would wait for any child") || !m_isThere) {
                return 0;
            }
            m_isThere = false;
            return m_isKilled ? BY_SIGNAL : m_children->exitCodeOf(m_type);
        }

        int destroy() override
        {
            const int result = send(SIGKILL);
            m_isKilled = true;
            return result;
        }

        int sigusr2() override { return send(SIGUSR2); }
        int sigusr1() override { return send(SIGUSR1); }
        std::string type() override { return m_type; }
        int ID() override { return m_pid; }
        bool isRunning() override { return m_pid == 0 || m_isThere; }

    private:
        static constexpr int SENT = -1;

        bool isNeverStarted(const char* consequence) const
        {
            if (m_pid == 0) {
                ADD_FAILURE() << "a process that was never started: " << consequence
                              << " of the caller's whole process group.";
            }
            return m_pid == 0;
        }

        int send(int signal)
        {
            if (isNeverStarted("on the device the signal would go to every process")) {
                return SENT;
            }
            if (!m_isThere) {
                throw GPALProcessException("GPAL Process unknown process");
            }
            m_children->send(m_pid, signal);
            return SENT;
        }

        std::shared_ptr<Children> m_children;
        int m_pid = 0;
        bool m_isThere = false;
        bool m_isKilled = false;
        std::string m_type = ProcessTypeString::GENERIC_PROCESS;
    };

    std::shared_ptr<Children> m_children = std::make_shared<Children>();
};

} // namespace gpal::testing

#endif
