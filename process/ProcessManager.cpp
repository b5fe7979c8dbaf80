#include <gpal/ProcessManager.h>

#include <sys/resource.h>
#include <utility>

#include <gpal/Process.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/Threadable.h>

namespace
{

/// The library's own manager. It holds nothing, and no destructor takes it away: threads and
/// processes may still be started while the process exits.
union DefaultManager {
    struct Objects {
        SimplePrioritySetter setter;
        ProcessManager manager{&setter};
    };

    DefaultManager() : objects() {}
    ~DefaultManager() {} // NOLINT(modernize-use-equals-default): that one would be deleted

    Objects objects;
};

ProcessManager* defaultManager()
{
    static DefaultManager made;
    return &made.objects.manager;
}

int niceValueOf(unsigned long id)
{
    return getpriority(PRIO_PROCESS, static_cast<id_t>(id));
}

int setNiceValueOf(unsigned long id, int niceValue)
{
    setpriority(PRIO_PROCESS, static_cast<id_t>(id), niceValue);
    return niceValueOf(id);
}

} // namespace

ProcessManager* ProcessManagement::m_testManager = nullptr;

PrioritySetter::~PrioritySetter() = default;

int SimplePrioritySetter::setThreadPriority(std::string /*name*/, unsigned long threadId)
{
    return niceValueOf(threadId);
}

int SimplePrioritySetter::setProcessPriority(std::string type, int pid)
{
    constexpr int LAUNCHER_NICE = 5; // below the phone's own processes, which it starts
    const bool launcher = type == ProcessTypeString::PHONELET_LAUNCHER_PROCESS;
    return setNiceValueOf(static_cast<unsigned long>(pid), launcher ? LAUNCHER_NICE : 0);
}

int SimplePrioritySetter::requestThreadPriority(std::string /*name*/, unsigned long threadId,
                                                int niceValue)
{
    return setNiceValueOf(threadId, niceValue);
}

int SimplePrioritySetter::requestProcessPriority(std::string /*type*/, int pid, int niceValue)
{
    return setNiceValueOf(static_cast<unsigned long>(pid), niceValue);
}

ProcessManager::ProcessManager(PrioritySetter* setter) : m_setter(setter) {}

ProcessManager::~ProcessManager() = default;

int ProcessManager::addThread(Threadable& thread, int threadId)
{
    const auto level = static_cast<GPALThreadPriority>(thread.getThreadPriorityForPlatform());
    std::string type = thread.type();
    if (m_setter != nullptr) {
        m_setter->requestThreadPriority(std::move(type), static_cast<unsigned long>(threadId),
                                        calculatePriority(level));
    }
    return 1;
}

int ProcessManager::addThread(int threadId, std::string name)
{
    if (m_setter != nullptr) {
        m_setter->setThreadPriority(std::move(name), static_cast<unsigned long>(threadId));
    }
    return 1;
}

int ProcessManager::removeThread(int /*threadId*/)
{
    return 0;
}

int ProcessManager::addProcess(Process& process)
{
    if (m_setter != nullptr) {
        m_setter->setProcessPriority(process.type(), process.ID());
    }
    return 1;
}

int ProcessManager::requestNewPriority(int threadId, GPALThreadPriority priority)
{
    if (m_setter == nullptr) {
        return -1;
    }
    return m_setter->requestThreadPriority(ProcessTypeString::GENERIC_THREAD,
                                           static_cast<unsigned long>(threadId),
                                           calculatePriority(priority));
}

int ProcessManager::calculatePriority(GPALThreadPriority priority)
{
    switch (priority) {
    case GPAL_THREAD_PRIORITY_LOW:
        return 9;
    case GPAL_THREAD_PRIORITY_NORMAL:
        return 0;
    case GPAL_THREAD_PRIORITY_HIGH:
    case GPAL_THREAD_PRIORITY_TIMER:
        return -10;
    case GPAL_THREAD_PRIORITY_VOICE:
        return -16;
    }
    return 0;
}

void ProcessManagement::initialize() {}

ProcessManager** ProcessManagement::initialize(ProcessManager* manager)
{
    m_testManager = manager;
    return &m_testManager;
}

void ProcessManagement::uninitialize()
{
    delete m_testManager;
    m_testManager = nullptr;
}

ProcessManager* ProcessManagement::manager()
{
    return m_testManager != nullptr ? m_testManager : defaultManager();
}
