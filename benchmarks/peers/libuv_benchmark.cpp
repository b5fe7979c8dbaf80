/// \file
/// The layer's jobs done with libuv. Its timers, processes and sockets belong to the thread that
/// runs their loop, which is that of the benchmark.
#include <netinet/in.h>
#include <uv.h>

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
    explicit Semaphore(unsigned int count = 1) { uv_sem_init(&m_semaphore, count); }
    void take() { uv_sem_wait(&m_semaphore); }
    void give() { uv_sem_post(&m_semaphore); }

private:
    uv_sem_t m_semaphore{};
};
BENCHMARK(jobs::takeGive<Semaphore>)->Name("takeGive/libuv");

class Event
{
public:
    void wait() { m_semaphore.take(); }
    void signal() { m_semaphore.give(); }

private:
    Semaphore m_semaphore{0};
};
BENCHMARK(jobs::handOver<Event>)->Name("handOver/libuv")->Apply(jobs::inTwoThreads);

void spawnJoin(benchmark::State& state)
{
    jobs::spawnJoin(state, [] {
        uv_thread_t thread{};
        uv_thread_create(
            &thread, [](void*) {}, nullptr);
        uv_thread_join(&thread);
    });
}
BENCHMARK(spawnJoin)->Name("spawnJoin/libuv")->Apply(jobs::ofThreads);

/// Lets the loop forget a handle, which then is deleted.
template <typename Handle>
void release(Handle* handle)
{
    uv_close(reinterpret_cast<uv_handle_t*>(handle),
             [](uv_handle_t* closed) { delete reinterpret_cast<Handle*>(closed); });
    uv_run(uv_default_loop(), UV_RUN_NOWAIT);
}

class Timer
{
public:
    template <typename Callback>
    Timer(int intervalMs, Callback) : m_intervalMs(static_cast<uint64_t>(intervalMs))
    {
        uv_timer_init(uv_default_loop(), m_timer);
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer() { release(m_timer); }

    void start()
    {
        uv_timer_start(
            m_timer, [](uv_timer_t*) {}, m_intervalMs, 0);
    }
    void stop() { uv_timer_stop(m_timer); }

private:
    const uint64_t m_intervalMs;
    uv_timer_t* const m_timer = new uv_timer_t;
};
BENCHMARK(jobs::armDisarm<Timer>)->Name("armDisarm/libuv")->Apply(jobs::besideOthers);
void runProgram(benchmark::State& state)
{
    jobs::runProgram(state, [](char** argv) {
        int code = -1;
        auto* const process = new uv_process_t;
        process->data = &code;
        uv_process_options_t options{};
        options.file = argv[0];
        options.args = argv;
        options.exit_cb = [](uv_process_t* ended, int64_t status, int) {
            *static_cast<int*>(ended->data) = static_cast<int>(status);
        };
        uv_spawn(uv_default_loop(), process, &options);
        uv_run(uv_default_loop(), UV_RUN_DEFAULT);
        release(process);
        return code;
    });
}
BENCHMARK(runProgram)->Name("runProgram/libuv")->Apply(jobs::fromSmallAndLargeParents);

class Socket
{
public:
    Socket()
    {
        sockaddr_in any{};
        uv_ip4_addr("127.0.0.1", 0, &any);
        uv_udp_init(uv_default_loop(), m_socket);
        uv_udp_bind(m_socket, reinterpret_cast<const sockaddr*>(&any), 0);
        m_socket->data = this;
        uv_udp_recv_start(m_socket, provide, received);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() { release(m_socket); }

    sockaddr_in address() const
    {
        sockaddr_in address{};
        int size = sizeof address;
        uv_udp_getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size);
        return address;
    }
    int write(char* data, int length, const sockaddr_in& to)
    {
        const uv_buf_t buffer = uv_buf_init(data, static_cast<unsigned int>(length));
        return uv_udp_try_send(m_socket, &buffer, 1, reinterpret_cast<const sockaddr*>(&to));
    }
    int read(char* data, int length, sockaddr_in& from)
    {
        m_buffer = uv_buf_init(data, static_cast<unsigned int>(length));
        m_length = 0;
        while (m_length == 0) {
            uv_run(uv_default_loop(), UV_RUN_ONCE);
        }
        from = m_sender;
        return m_length;
    }

private:
    static void provide(uv_handle_t* socket, std::size_t, uv_buf_t* buffer)
    {
        *buffer = static_cast<Socket*>(socket->data)->m_buffer;
    }
    static void received(uv_udp_t* socket, ssize_t length, const uv_buf_t*, const sockaddr* from,
                         unsigned int)
    {
        if (from != nullptr) {
            auto& self = *static_cast<Socket*>(socket->data);
            self.m_length = static_cast<int>(length);
            self.m_sender = *reinterpret_cast<const sockaddr_in*>(from);
        }
    }

    uv_udp_t* const m_socket = new uv_udp_t;
    uv_buf_t m_buffer{};
    int m_length = 0;
    sockaddr_in m_sender{};
};
BENCHMARK(jobs::roundTrip<Socket>)->Name("udpRoundTrip/libuv");

void listFiles(const std::string& directory, std::list<std::string>& result)
{
    result.clear();
    uv_fs_t request;
    uv_fs_scandir(nullptr, &request, directory.c_str(), 0, nullptr);
    uv_dirent_t entry{};
    while (uv_fs_scandir_next(&request, &entry) != UV_EOF) {
        if (entry.type == UV_DIRENT_FILE) {
            result.push_back(directory + "/" + entry.name);
        }
    }
    uv_fs_req_cleanup(&request);
}

void listing(benchmark::State& state)
{
    jobs::listing(state, listFiles);
}
BENCHMARK(listing)->Name("listing/libuv");

void copying(benchmark::State& state)
{
    jobs::copying(state, [](const std::string& source, const std::string& destination) {
        uv_fs_t request;
        uv_fs_copyfile(nullptr, &request, source.c_str(), destination.c_str(), 0, nullptr);
        uv_fs_req_cleanup(&request);
    });
}
BENCHMARK(copying)->Name("copy/libuv")->Apply(jobs::sizesInKiB);

} // namespace
