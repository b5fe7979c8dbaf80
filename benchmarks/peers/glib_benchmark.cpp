/// \file
/// The layer's jobs done with GLib. Its timers are due in a thread that runs a main loop.
#include <functional>
#include <gio/gio.h>
#include <glib.h>
#include <utility>

#include "../process_jobs.h"
#include "../semaphore_jobs.h"
#include "../storage_jobs.h"
#include "../thread_jobs.h"
#include "../timer_jobs.h"
#include "udp_job.h"

namespace
{

class Mutex
{
public:
    Mutex() { g_mutex_init(&m_mutex); }
    void take() { g_mutex_lock(&m_mutex); }
    void give() { g_mutex_unlock(&m_mutex); }

private:
    GMutex m_mutex{};
};
BENCHMARK(jobs::takeGive<Mutex>)->Name("takeGive/glib");

class Event
{
public:
    Event()
    {
        g_mutex_init(&m_mutex);
        g_cond_init(&m_condition);
    }
    void wait()
    {
        g_mutex_lock(&m_mutex);
        while (!m_signalled) {
            g_cond_wait(&m_condition, &m_mutex);
        }
        m_signalled = false;
        g_mutex_unlock(&m_mutex);
    }
    void signal()
    {
        g_mutex_lock(&m_mutex);
        m_signalled = true;
        g_cond_signal(&m_condition);
        g_mutex_unlock(&m_mutex);
    }

private:
    GMutex m_mutex{};
    GCond m_condition{};
    bool m_signalled = false;
};
BENCHMARK(jobs::handOver<Event>)->Name("handOver/glib")->Apply(jobs::inTwoThreads);

void* nothing(void*)
{
    return nullptr;
}

void spawnJoin(benchmark::State& state)
{
    jobs::spawnJoin(state, [] { g_thread_join(g_thread_new(nullptr, nothing, nullptr)); });
}
BENCHMARK(spawnJoin)->Name("spawnJoin/glib")->Apply(jobs::ofThreads);

void* serve(void* context)
{
    GMainLoop* const loop = g_main_loop_new(static_cast<GMainContext*>(context), FALSE);
    g_main_loop_run(loop);
    return nullptr;
}

GMainContext* servedContext()
{
    static GMainContext* const context = [] {
        GMainContext* const made = g_main_context_new();
        g_thread_new("timers", serve, made);
        return made;
    }();
    return context;
}

class Timer
{
public:
    Timer(int intervalMs, std::function<void()> callback)
        : m_intervalMs(static_cast<guint>(intervalMs)), m_callback(std::move(callback))
    {
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer() { stop(); }

    void start()
    {
        stop();
        m_source = g_timeout_source_new(m_intervalMs);
        g_source_set_callback(m_source, expired, this, nullptr);
        g_source_attach(m_source, servedContext());
    }
    void stop()
    {
        if (m_source != nullptr) {
            g_source_destroy(m_source);
            g_source_unref(m_source);
            m_source = nullptr;
        }
    }

private:
    static gboolean expired(void* timer)
    {
        static_cast<Timer*>(timer)->m_callback();
        return G_SOURCE_REMOVE;
    }

    const guint m_intervalMs;
    const std::function<void()> m_callback;
    GSource* m_source = nullptr;
};
BENCHMARK(jobs::armDisarm<Timer>)->Name("armDisarm/glib")->Apply(jobs::besideOthers);
BENCHMARK(jobs::manyDueAtOnce<Timer>)->Name("manyDueAtOnce/glib")->Apply(jobs::fewTimes);

void runProgram(benchmark::State& state)
{
    jobs::runProgram(state, [](char** argv) {
        int status = -1;
        g_spawn_sync(nullptr, argv, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, nullptr, nullptr,
                     &status, nullptr);
        return status;
    });
}
BENCHMARK(runProgram)->Name("runProgram/glib")->Apply(jobs::fromSmallAndLargeParents);

class Socket
{
public:
    Socket()
    {
        GSocketAddress* const any = g_inet_socket_address_new_from_string("127.0.0.1", 0);
        g_socket_bind(m_socket, any, FALSE, nullptr);
        g_object_unref(any);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() { g_object_unref(m_socket); }

    GSocketAddress* address() { return g_socket_get_local_address(m_socket, nullptr); }
    int write(const char* data, int length, GSocketAddress* to)
    {
        return static_cast<int>(
            g_socket_send_to(m_socket, to, data, static_cast<gsize>(length), nullptr, nullptr));
    }
    int read(char* data, int length, GSocketAddress*& from)
    {
        g_object_unref(from);
        return static_cast<int>(g_socket_receive_from(
            m_socket, &from, data, static_cast<gsize>(length), nullptr, nullptr));
    }

private:
    GSocket* const m_socket =
        g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_DATAGRAM, G_SOCKET_PROTOCOL_UDP, nullptr);
};
BENCHMARK(jobs::roundTrip<Socket>)->Name("udpRoundTrip/glib");

void listFiles(const std::string& directory, std::list<std::string>& result)
{
    result.clear();
    GDir* const opened = g_dir_open(directory.c_str(), 0, nullptr);
    while (const char* name = g_dir_read_name(opened)) {
        const std::string path = directory + "/" + name;
        if (g_file_test(path.c_str(), G_FILE_TEST_IS_REGULAR) != FALSE) {
            result.push_back(path);
        }
    }
    g_dir_close(opened);
}

void listing(benchmark::State& state)
{
    jobs::listing(state, listFiles);
}
BENCHMARK(listing)->Name("listing/glib");

void copying(benchmark::State& state)
{
    jobs::copying(state, [](const std::string& source, const std::string& destination) {
        GFile* const from = g_file_new_for_path(source.c_str());
        GFile* const to = g_file_new_for_path(destination.c_str());
        g_file_copy(from, to, G_FILE_COPY_OVERWRITE, nullptr, nullptr, nullptr, nullptr);
        g_object_unref(from);
        g_object_unref(to);
    });
}
BENCHMARK(copying)->Name("copy/glib")->Apply(jobs::sizesInKiB);

GIOChannel* opened(const std::string& path, const char* mode)
{
    GIOChannel* const channel = g_io_channel_new_file(path.c_str(), mode, nullptr);
    g_io_channel_set_encoding(channel, nullptr, nullptr);
    return channel;
}

void storing(benchmark::State& state)
{
    jobs::storing(state, [&state](const std::string& path, const std::string& record) {
        GIOChannel* const file = opened(path, "w");
        jobs::passOver(state, [&] {
            gsize written = 0;
            gsize ended = 0;
            g_io_channel_write_chars(file, record.data(), static_cast<gssize>(record.size()),
                                     &written, nullptr);
            g_io_channel_write_chars(file, "\n", 1, &ended, nullptr);
            return static_cast<int>(written);
        });
        g_io_channel_shutdown(file, TRUE, nullptr);
        g_io_channel_unref(file);
    });
}
BENCHMARK(storing)->Name("store/glib");

void retrieving(benchmark::State& state)
{
    GString* const line = g_string_new("");
    jobs::retrieving(state, [&](const std::string& path) {
        GIOChannel* const file = opened(path, "r");
        jobs::passOver(state, [&] {
            gsize end = 0;
            g_io_channel_read_line_string(file, line, &end, nullptr);
            g_string_truncate(line, end);
            return static_cast<int>(line->len);
        });
        g_io_channel_unref(file);
    });
    g_string_free(line, TRUE);
}
BENCHMARK(retrieving)->Name("retrieve/glib");

} // namespace
