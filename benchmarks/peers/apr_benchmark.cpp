/// \file
/// The layer's jobs done with APR.
#include <apr_file_info.h>
#include <apr_file_io.h>
#include <apr_general.h>
#include <apr_network_io.h>
#include <apr_thread_cond.h>
#include <apr_thread_mutex.h>
#include <apr_thread_proc.h>
#include <cstring>

#include "../process_jobs.h"
#include "../semaphore_jobs.h"
#include "../storage_jobs.h"
#include "../thread_jobs.h"
#include "udp_job.h"

namespace
{

/// Memory for a scope.
class Pool
{
public:
    Pool()
    {
        static const apr_status_t initialised = apr_initialize();
        benchmark::DoNotOptimize(initialised);
        apr_pool_create(&m_pool, nullptr);
    }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;
    ~Pool() { apr_pool_destroy(m_pool); }

    apr_pool_t* get() const { return m_pool; }

private:
    apr_pool_t* m_pool = nullptr;
};

class Mutex
{
public:
    Mutex() { apr_thread_mutex_create(&m_mutex, APR_THREAD_MUTEX_DEFAULT, m_pool.get()); }
    void take() { apr_thread_mutex_lock(m_mutex); }
    void give() { apr_thread_mutex_unlock(m_mutex); }
    apr_thread_mutex_t* get() { return m_mutex; }

private:
    Pool m_pool;
    apr_thread_mutex_t* m_mutex = nullptr;
};
BENCHMARK(jobs::takeGive<Mutex>)->Name("takeGive/apr");

class Event
{
public:
    Event() { apr_thread_cond_create(&m_condition, m_pool.get()); }
    void wait()
    {
        m_mutex.take();
        while (!m_signalled) {
            apr_thread_cond_wait(m_condition, m_mutex.get());
        }
        m_signalled = false;
        m_mutex.give();
    }
    void signal()
    {
        m_mutex.take();
        m_signalled = true;
        apr_thread_cond_signal(m_condition);
        m_mutex.give();
    }

private:
    Pool m_pool;
    Mutex m_mutex;
    apr_thread_cond_t* m_condition = nullptr;
    bool m_signalled = false;
};
BENCHMARK(jobs::handOver<Event>)->Name("handOver/apr")->Apply(jobs::inTwoThreads);

void* APR_THREAD_FUNC nothing(apr_thread_t*, void*)
{
    return nullptr;
}

void spawnJoin(benchmark::State& state)
{
    jobs::spawnJoin(state, [] {
        const Pool pool;
        apr_thread_t* thread = nullptr;
        apr_status_t result = APR_SUCCESS;
        apr_thread_create(&thread, nullptr, nothing, nullptr, pool.get());
        apr_thread_join(&result, thread);
    });
}
BENCHMARK(spawnJoin)->Name("spawnJoin/apr")->Apply(jobs::ofThreads);

void runProgram(benchmark::State& state)
{
    jobs::runProgram(state, [](char** argv) {
        const Pool pool;
        apr_procattr_t* attributes = nullptr;
        apr_procattr_create(&attributes, pool.get());
        apr_procattr_cmdtype_set(attributes, APR_PROGRAM_ENV);
        apr_proc_t process{};
        apr_proc_create(&process, argv[0], argv, nullptr, attributes, pool.get());
        int code = -1;
        apr_proc_wait(&process, &code, nullptr, APR_WAIT);
        return code;
    });
}
BENCHMARK(runProgram)->Name("runProgram/apr")->Apply(jobs::fromSmallAndLargeParents);

class Socket
{
public:
    Socket()
    {
        apr_sockaddr_t* any = nullptr;
        apr_sockaddr_info_get(&any, "127.0.0.1", APR_INET, 0, 0, m_pool.get());
        apr_socket_create(&m_socket, APR_INET, SOCK_DGRAM, APR_PROTO_UDP, m_pool.get());
        apr_socket_bind(m_socket, any);
        apr_socket_timeout_set(m_socket, apr_time_from_sec(5));
    }
    apr_sockaddr_t* address()
    {
        apr_sockaddr_t* address = nullptr;
        apr_socket_addr_get(&address, APR_LOCAL, m_socket);
        return address;
    }
    int write(const char* data, int length, apr_sockaddr_t* to)
    {
        auto size = static_cast<apr_size_t>(length);
        apr_socket_sendto(m_socket, to, 0, data, &size);
        return static_cast<int>(size);
    }
    int read(char* data, int length, apr_sockaddr_t* from)
    {
        auto size = static_cast<apr_size_t>(length);
        apr_socket_recvfrom(from, m_socket, 0, data, &size);
        return static_cast<int>(size);
    }

private:
    Pool m_pool;
    apr_socket_t* m_socket = nullptr;
};
BENCHMARK(jobs::roundTrip<Socket>)->Name("udpRoundTrip/apr");

void listFiles(const std::string& directory, std::list<std::string>& result)
{
    result.clear();
    const Pool pool;
    apr_dir_t* opened = nullptr;
    apr_dir_open(&opened, directory.c_str(), pool.get());
    apr_finfo_t entry{};
    while (apr_dir_read(&entry, APR_FINFO_NAME | APR_FINFO_TYPE, opened) == APR_SUCCESS) {
        if (entry.filetype == APR_REG) {
            result.push_back(directory + "/" + entry.name);
        }
    }
}

void listing(benchmark::State& state)
{
    jobs::listing(state, listFiles);
}
BENCHMARK(listing)->Name("listing/apr");

void copying(benchmark::State& state)
{
    jobs::copying(state, [](const std::string& source, const std::string& destination) {
        const Pool pool;
        apr_file_copy(source.c_str(), destination.c_str(), APR_FPROT_OS_DEFAULT, pool.get());
    });
}
BENCHMARK(copying)->Name("copy/apr")->Apply(jobs::sizesInKiB);

apr_file_t* opened(const std::string& path, apr_int32_t flags, const Pool& pool)
{
    apr_file_t* file = nullptr;
    apr_file_open(&file, path.c_str(), flags | APR_FOPEN_BUFFERED, APR_FPROT_OS_DEFAULT,
                  pool.get());
    return file;
}

void storing(benchmark::State& state)
{
    jobs::storing(state, [&state](const std::string& path, const std::string& record) {
        const Pool pool;
        apr_file_t* const file =
            opened(path, APR_FOPEN_WRITE | APR_FOPEN_CREATE | APR_FOPEN_TRUNCATE, pool);
        jobs::passOver(state, [&] {
            apr_size_t written = 0;
            apr_file_write_full(file, record.data(), record.size(), &written);
            apr_file_putc('\n', file);
            return static_cast<int>(written);
        });
        apr_file_close(file);
    });
}
BENCHMARK(storing)->Name("store/apr");

void retrieving(benchmark::State& state)
{
    char line[jobs::LINE_SIZE];
    jobs::retrieving(state, [&](const std::string& path) {
        const Pool pool;
        apr_file_t* const file = opened(path, APR_FOPEN_READ, pool);
        jobs::passOver(state, [&] {
            apr_file_gets(line, jobs::LINE_SIZE, file);
            const std::size_t length = std::strlen(line) - 1;
            line[length] = '\0';
            return static_cast<int>(length);
        });
    });
}
BENCHMARK(retrieving)->Name("retrieve/apr");

} // namespace
