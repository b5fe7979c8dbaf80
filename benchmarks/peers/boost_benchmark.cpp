/// \file
/// The layer's jobs done with Boost. Its timers are due in a thread that runs an io_context.
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/filesystem.hpp>
#include <boost/interprocess/sync/interprocess_semaphore.hpp>
#include <boost/process/child.hpp>
#include <boost/stacktrace/safe_dump_to.hpp>
#include <boost/thread/thread.hpp>

#include "../process_jobs.h"
#include "../semaphore_jobs.h"
#include "../stack_recording.h"
#include "../storage_jobs.h"
#include "../thread_jobs.h"
#include "../timer_jobs.h"
#include "udp_job.h"

namespace
{

using boost::asio::ip::udp;
using support::record;

class Semaphore
{
public:
    void take() { m_semaphore.wait(); }
    void give() { m_semaphore.post(); }

private:
    boost::interprocess::interprocess_semaphore m_semaphore{1};
};
BENCHMARK(jobs::takeGive<Semaphore>)->Name("takeGive/boost");

class Event
{
public:
    void wait() { m_semaphore.wait(); }
    void signal() { m_semaphore.post(); }

private:
    boost::interprocess::interprocess_semaphore m_semaphore{0};
};
BENCHMARK(jobs::handOver<Event>)->Name("handOver/boost")->Apply(jobs::inTwoThreads);

void spawnJoin(benchmark::State& state)
{
    jobs::spawnJoin(state, [] { boost::thread([] {}).join(); });
}
BENCHMARK(spawnJoin)->Name("spawnJoin/boost")->Apply(jobs::ofThreads);

boost::asio::io_context& servedContext()
{
    static boost::asio::io_context* const context = [] {
        auto* const made = new boost::asio::io_context;
        std::thread([made] {
            const auto guard = boost::asio::make_work_guard(*made);
            made->run();
        }).detach();
        return made;
    }();
    return *context;
}

class Timer
{
public:
    Timer(int intervalMs, std::function<void()> callback)
        : m_interval(intervalMs), m_callback(std::move(callback))
    {
    }

    void start()
    {
        m_timer.expires_after(m_interval);
        m_timer.async_wait([this](const boost::system::error_code& error) {
            if (!error) {
                m_callback();
            }
        });
    }
    void stop() { m_timer.cancel(); }

private:
    const std::chrono::milliseconds m_interval;
    const std::function<void()> m_callback;
    boost::asio::steady_timer m_timer{servedContext()};
};
BENCHMARK(jobs::armDisarm<Timer>)->Name("armDisarm/boost")->Apply(jobs::besideOthers);
BENCHMARK(jobs::manyDueAtOnce<Timer>)->Name("manyDueAtOnce/boost")->Apply(jobs::fewTimes);

void runProgram(benchmark::State& state)
{
    jobs::runProgram(state, [](char** argv) {
        boost::process::child process(argv[0]);
        process.wait();
        return process.exit_code();
    });
}
BENCHMARK(runProgram)->Name("runProgram/boost")->Apply(jobs::fromSmallAndLargeParents);

class Socket
{
public:
    udp::endpoint address() const { return m_socket.local_endpoint(); }
    int write(const char* data, int length, const udp::endpoint& to)
    {
        return static_cast<int>(
            m_socket.send_to(boost::asio::buffer(data, static_cast<std::size_t>(length)), to));
    }
    int read(char* data, int length, udp::endpoint& from)
    {
        return static_cast<int>(m_socket.receive_from(
            boost::asio::buffer(data, static_cast<std::size_t>(length)), from));
    }

private:
    boost::asio::io_context m_context;
    udp::socket m_socket{m_context, udp::endpoint(boost::asio::ip::address_v4::loopback(), 0)};
};
BENCHMARK(jobs::roundTrip<Socket>)->Name("udpRoundTrip/boost");

int recordFrames(void** frames, int count)
{
    const auto size = static_cast<std::size_t>(count) * sizeof(void*);
    return static_cast<int>(boost::stacktrace::safe_dump_to(frames, size));
}
BENCHMARK_CAPTURE(record, boost, recordFrames)->Name("backtrace20/boost");

void listFiles(const std::string& directory, std::list<std::string>& result)
{
    result.clear();
    for (const auto& entry : boost::filesystem::directory_iterator(directory)) {
        if (boost::filesystem::is_regular_file(entry.symlink_status())) {
            result.push_back(entry.path().string());
        }
    }
}

void listing(benchmark::State& state)
{
    jobs::listing(state, listFiles);
}
BENCHMARK(listing)->Name("listing/boost");

void copying(benchmark::State& state)
{
    jobs::copying(state, [](const std::string& source, const std::string& destination) {
        boost::filesystem::copy_file(source, destination,
                                     boost::filesystem::copy_option::overwrite_if_exists);
    });
}
BENCHMARK(copying)->Name("copy/boost")->Apply(jobs::sizesInKiB);

} // namespace
