/// \file
/// The layer's jobs done with ACE. Its timers are due in a thread of a heap of timers.
#include <functional>
#include <utility>

#include <ace/ACE.h>
#include <ace/Auto_Event.h>
#include <ace/INET_Addr.h>
#include <ace/Init_ACE.h>
#include <ace/Process.h>
#include <ace/SOCK_Dgram.h>
#include <ace/Thread_Manager.h>
#include <ace/Thread_Semaphore.h>
#include <ace/Timer_Heap.h>
#include <ace/Timer_Queue_Adapters.h>

#include "../process_jobs.h"
#include "../semaphore_jobs.h"
#include "../thread_jobs.h"
#include "../timer_jobs.h"
#include "udp_job.h"

namespace
{

const int INITIALISED = ACE::init();

class Semaphore
{
public:
    void take() { m_semaphore.acquire(); }
    void give() { m_semaphore.release(); }

private:
    ACE_Thread_Semaphore m_semaphore{1};
};
BENCHMARK(jobs::takeGive<Semaphore>)->Name("takeGive/ace");

class Event
{
public:
    void wait() { m_event.wait(); }
    void signal() { m_event.signal(); }

private:
    ACE_Auto_Event m_event;
};
BENCHMARK(jobs::handOver<Event>)->Name("handOver/ace")->Apply(jobs::inTwoThreads);

ACE_THR_FUNC_RETURN nothing(void*)
{
    return nullptr;
}

void spawnJoin(benchmark::State& state)
{
    benchmark::DoNotOptimize(INITIALISED);
    jobs::spawnJoin(state, [] {
        ACE_thread_t thread{};
        ACE_Thread_Manager::instance()->spawn(nothing, nullptr, THR_NEW_LWP | THR_JOINABLE,
                                              &thread);
        ACE_Thread_Manager::instance()->join(thread);
    });
}
BENCHMARK(spawnJoin)->Name("spawnJoin/ace")->Apply(jobs::ofThreads);

using TimerQueue = ACE_Thread_Timer_Queue_Adapter<ACE_Timer_Heap>;

TimerQueue& servedQueue()
{
    static TimerQueue* const queue = [] {
        auto* const made = new TimerQueue;
        made->activate();
        return made;
    }();
    return *queue;
}

class Timer : public ACE_Event_Handler
{
public:
    Timer(int intervalMs, std::function<void()> callback) : m_callback(std::move(callback))
    {
        m_interval.msec(intervalMs);
    }

    void start()
    {
        m_id = servedQueue().schedule(this, nullptr,
                                      servedQueue().timer_queue()->gettimeofday() + m_interval);
    }
    void stop() { servedQueue().cancel(m_id); }

    int handle_timeout(const ACE_Time_Value&, const void*) override
    {
        m_callback();
        return 0;
    }

private:
    ACE_Time_Value m_interval;
    std::function<void()> m_callback;
    long m_id = -1;
};
BENCHMARK(jobs::armDisarm<Timer>)->Name("armDisarm/ace")->Apply(jobs::besideOthers);
BENCHMARK(jobs::manyDueAtOnce<Timer>)->Name("manyDueAtOnce/ace")->Apply(jobs::fewTimes);

void runProgram(benchmark::State& state)
{
    jobs::runProgram(state, [](char** argv) {
        ACE_Process_Options options;
        options.command_line(argv);
        ACE_Process process;
        process.spawn(options);
        ACE_exitcode code = -1;
        process.wait(&code);
        return code;
    });
}
BENCHMARK(runProgram)->Name("runProgram/ace")->Apply(jobs::fromSmallAndLargeParents);

class Socket
{
public:
    ACE_INET_Addr address() const
    {
        ACE_INET_Addr address;
        m_socket.get_local_addr(address);
        return address;
    }
    int write(const char* data, int length, const ACE_INET_Addr& to)
    {
        return static_cast<int>(m_socket.send(data, static_cast<std::size_t>(length), to));
    }
    int read(char* data, int length, ACE_INET_Addr& from)
    {
        const ACE_Time_Value timeout(5);
        return static_cast<int>(
            m_socket.recv(data, static_cast<std::size_t>(length), from, 0, &timeout));
    }

private:
    ACE_SOCK_Dgram m_socket{ACE_INET_Addr(static_cast<unsigned short>(0), "127.0.0.1")};
};
BENCHMARK(jobs::roundTrip<Socket>)->Name("udpRoundTrip/ace");

} // namespace
