/// \file
/// A way through the network that treats packets badly, in a manner that a test can tell.
#ifndef GPAL_TESTS_EXAMPLES_RELAY_H
#define GPAL_TESTS_EXAMPLES_RELAY_H

#include <arpa/inet.h>
#include <atomic>
#include <map>
#include <netinet/in.h>
#include <set>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

/// Passes what comes to its port on to another host, and what that answers back. Of the frames that
/// the caller sends, counted from 0, it loses some, sends some twice, and some later than others.
class Relay
{
public:
    struct Mischief {
        std::set<int> lost;
        std::set<int> doubled;
        std::map<int, int> behind; ///< a frame, and the one after which it is sent
    };

    Relay(const std::string& host, int port, Mischief mischief)
        : m_mischief(std::move(mischief)), m_towards(address(host, port))
    {
        sockaddr_in local = address("0.0.0.0", 0);
        socklen_t size = sizeof local;
        bind(m_socket, plain(local), size);
        getsockname(m_socket, plain(local), &size);
        m_port = ntohs(local.sin_port);
        m_thread = std::thread([this] { run(); });
    }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;
    ~Relay()
    {
        sockaddr_in self = address("127.0.0.1", m_port);
        m_stopped = true;
        sendto(m_socket, "", 0, 0, plain(self), sizeof self);
        m_thread.join();
        close(m_socket);
    }

    int port() const { return m_port; }

private:
    static constexpr std::size_t FRAME_PACKET = 172;

    static sockaddr* plain(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

    static sockaddr_in address(const std::string& host, int port)
    {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        result.sin_port = htons(static_cast<in_port_t>(port));
        inet_pton(AF_INET, host.c_str(), &result.sin_addr);
        return result;
    }

    void run()
    {
        char buffer[2048];
        while (!m_stopped) {
            sockaddr_in from{};
            socklen_t size = sizeof from;
            const ssize_t got = recvfrom(m_socket, buffer, sizeof buffer, 0, plain(from), &size);
            if (got <= 0) {
                continue;
            }
            const std::string packet(buffer, static_cast<std::size_t>(got));
            if (from.sin_addr.s_addr == m_towards.sin_addr.s_addr) {
                send(packet, m_caller);
            } else {
                m_caller = from;
                pass(packet);
            }
        }
    }

    void pass(const std::string& packet)
    {
        if (packet.size() != FRAME_PACKET) {
            send(packet, m_towards);
            return;
        }
        const int index = m_frames++;
        if (const auto later = m_mischief.behind.find(index); later != m_mischief.behind.end()) {
            m_heldBack[later->second].push_back(packet);
        } else if (m_mischief.lost.count(index) == 0) {
            send(packet, m_towards);
        }
        if (m_mischief.doubled.count(index) != 0) {
            send(packet, m_towards);
        }
        for (const std::string& held : m_heldBack[index]) {
            send(held, m_towards);
        }
    }

    void send(const std::string& packet, sockaddr_in to)
    {
        sendto(m_socket, packet.data(), packet.size(), 0, plain(to), sizeof to);
    }

    const Mischief m_mischief;
    const sockaddr_in m_towards;
    const int m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    int m_port = 0;
    sockaddr_in m_caller{};
    int m_frames = 0;
    std::map<int, std::vector<std::string>> m_heldBack;
    std::atomic<bool> m_stopped{false};
    std::thread m_thread;
};

#endif
