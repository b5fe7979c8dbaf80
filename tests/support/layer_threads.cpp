#include "support/layer_threads.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <gpal/Process.h>

#include "support/kernel_id.h"
#include "support/observed.h"

namespace support
{
namespace
{

class Recorder : public ProcessManager
{
public:
    Recorder(Timeline& timeline, RecordedManager& owner)
        : ProcessManager(nullptr), m_timeline(timeline), m_owner(owner)
    {
    }
    int addThread(Threadable& thread, int threadId) override
    {
        m_timeline.add(announced(thread.type(), threadId));
        m_owner.whenAnnounced();
        return 1;
    }
    int addThread(int threadId, std::string name) override
    {
        m_timeline.add(announcedByName(name, threadId));
        m_owner.whenAnnounced();
        return 1;
    }
    int removeThread(int threadId) override
    {
        m_timeline.add("removed " + std::to_string(threadId));
        m_owner.whenRemoved();
        return 0;
    }
    int addProcess(Process& process) override
    {
        m_timeline.add(processStarted(process.type(), process.ID()));
        return 1;
    }
    int requestNewPriority(int threadId, GPALThreadPriority priority) override
    {
        m_timeline.add(priorityRequested(threadId, priority));
        return m_owner.answer(priority);
    }

private:
    Timeline& m_timeline;
    RecordedManager& m_owner;
};

void* callWork(void* work)
{
    static_cast<Threadable*>(work)->run();
    return work;
}

} // namespace

void Timeline::add(const std::string& event)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_events.push_back(event);
}

std::vector<std::string> Timeline::events() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_events;
}

std::string announced(const std::string& type, int kernelId)
{
    return "announced body " + type + " as " + std::to_string(kernelId);
}

std::string announcedByName(const std::string& name, int kernelId)
{
    return "announced name '" + name + "' as " + std::to_string(kernelId);
}

std::string priorityRequested(int kernelId, int priority)
{
    return "requested " + std::to_string(priority) + " for " + std::to_string(kernelId);
}

std::string removed(unsigned long threadId)
{
    return "removed " + std::to_string(static_cast<int>(threadId));
}

std::string processStarted(const std::string& type, int pid)
{
    return "started " + type + " as " + std::to_string(pid);
}

RecordedManager::RecordedManager(Timeline& timeline)
{
    ProcessManagement::initialize(new Recorder(timeline, *this));
}

RecordedManager::~RecordedManager()
{
    ProcessManagement::uninitialize();
}

LayerThread::LayerThread(Kind kind, const std::function<void()>& work)
    : m_body([this, work] {
          m_kernelId = ownKernelId();
          work();
          m_isFinished = true;
      })
{
    Threader threader;
    if (kind == Kind::THREADABLE) {
        EXPECT_TRUE(threader.spawn(&m_id, &m_body, "", GPAL_THREAD_PRIORITY_NORMAL, 0));
    } else {
        EXPECT_TRUE(threader.spawn(&m_id, callWork, static_cast<Threadable*>(&m_body), "",
                                   GPAL_THREAD_PRIORITY_NORMAL, 0));
    }
}

void LayerThread::cancel()
{
    EXPECT_TRUE(Threader().destroy(m_id));
}

void* LayerThread::join()
{
    void* result = nullptr;
    if (!m_joined) {
        EXPECT_EQ(pthread_join(m_id, &result), 0);
        m_joined = true;
    }
    return result;
}

bool LayerThread::isAsleep() const
{
    return support::isAsleep(m_kernelId);
}

void stayUntilCancelled()
{
    for (;;) {
        pthread_testcancel();
        sched_yield();
    }
}

bool mayLowerNiceValues()
{
    const auto self = static_cast<id_t>(ownKernelId());
    const int before = getpriority(PRIO_PROCESS, self);
    const bool may = setpriority(PRIO_PROCESS, self, -16) == 0;
    setpriority(PRIO_PROCESS, self, before);
    return may;
}

int ownNiceValue()
{
    return getpriority(PRIO_PROCESS, static_cast<id_t>(ownKernelId()));
}

} // namespace support
