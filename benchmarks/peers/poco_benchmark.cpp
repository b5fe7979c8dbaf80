/// \file
/// The layer's jobs done with POCO.
#include <Poco/DirectoryIterator.h>
#include <Poco/Event.h>
#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/Net/DatagramSocket.h>
#include <Poco/Process.h>
#include <Poco/Runnable.h>
#include <Poco/Semaphore.h>
#include <Poco/Thread.h>
#include <Poco/ThreadPool.h>
#include <Poco/Timer.h>

#include "../process_jobs.h"
#include "../semaphore_jobs.h"
#include "../storage_jobs.h"
#include "../thread_jobs.h"
#include "../timer_jobs.h"
#include "udp_job.h"

namespace
{

class Semaphore
{
public:
    void take() { m_semaphore.wait(); }
    void give() { m_semaphore.set(); }

private:
    Poco::Semaphore m_semaphore{1};
};
BENCHMARK(jobs::takeGive<Semaphore>)->Name("takeGive/poco");

class Event
{
public:
    void wait() { m_event.wait(); }
    void signal() { m_event.set(); }

private:
    Poco::Event m_event;
};
BENCHMARK(jobs::handOver<Event>)->Name("handOver/poco")->Apply(jobs::inTwoThreads);

class Nothing : public Poco::Runnable
{
public:
    void run() override {}
};

void spawnJoin(benchmark::State& state)
{
    Nothing body;
    jobs::spawnJoin(state, [&body] {
        Poco::Thread thread;
        thread.start(body);
        thread.join();
    });
}
BENCHMARK(spawnJoin)->Name("spawnJoin/poco")->Apply(jobs::ofThreads);

/// It has a thread of its own while it is armed.
class Timer
{
public:
    template <typename Callback>
    Timer(int intervalMs, Callback) : m_timer(intervalMs, 0)
    {
    }
    void start() { m_timer.start(Poco::TimerCallback<Timer>(*this, &Timer::expired), threads()); }
    void stop() { m_timer.stop(); }

private:
    static Poco::ThreadPool& threads()
    {
        static Poco::ThreadPool pool(2, 128);
        return pool;
    }
    void expired(Poco::Timer&) {}

    Poco::Timer m_timer;
};
BENCHMARK(jobs::armDisarm<Timer>)->Name("armDisarm/poco")->Apply(jobs::besideOthers);

void runProgram(benchmark::State& state)
{
    jobs::runProgram(state, [](char** argv) {
        const Poco::ProcessHandle process = Poco::Process::launch(argv[0], {});
        return process.wait();
    });
}
BENCHMARK(runProgram)->Name("runProgram/poco")->Apply(jobs::fromSmallAndLargeParents);

class Socket
{
public:
    Poco::Net::SocketAddress address() const { return m_socket.address(); }
    int write(const char* data, int length, const Poco::Net::SocketAddress& to)
    {
        return m_socket.sendTo(data, length, to);
    }
    int read(char* data, int length, Poco::Net::SocketAddress& from)
    {
        return m_socket.receiveFrom(data, length, from);
    }

private:
    Poco::Net::DatagramSocket m_socket{Poco::Net::SocketAddress("127.0.0.1", 0)};
};
BENCHMARK(jobs::roundTrip<Socket>)->Name("udpRoundTrip/poco");

void listFiles(const std::string& directory, std::list<std::string>& result)
{
    result.clear();
    const Poco::DirectoryIterator end;
    for (Poco::DirectoryIterator entry(directory); entry != end; ++entry) {
        if (entry->isFile()) {
            result.push_back(entry->path());
        }
    }
}

void listing(benchmark::State& state)
{
    jobs::listing(state, listFiles);
}
BENCHMARK(listing)->Name("listing/poco");

void copying(benchmark::State& state)
{
    jobs::copying(state, [](const std::string& source, const std::string& destination) {
        Poco::File(source).copyTo(destination);
    });
}
BENCHMARK(copying)->Name("copy/poco")->Apply(jobs::sizesInKiB);

void storing(benchmark::State& state)
{
    jobs::storing(state, [&state](const std::string& path, const std::string& record) {
        Poco::FileOutputStream file(path);
        jobs::passOver(state, [&] {
            file << record << '\n';
            return static_cast<int>(record.size());
        });
    });
}
BENCHMARK(storing)->Name("store/poco");

void retrieving(benchmark::State& state)
{
    std::string line;
    jobs::retrieving(state, [&](const std::string& path) {
        Poco::FileInputStream file(path);
        jobs::passOver(state, [&] {
            std::getline(file, line);
            return static_cast<int>(line.size());
        });
    });
}
BENCHMARK(retrieving)->Name("retrieve/poco");

} // namespace
