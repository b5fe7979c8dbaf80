/// \file
/// Datagrams that never leave the process.
#ifndef GPAL_TESTING_DATAGRAMEXCHANGE_H
#define GPAL_TESTING_DATAGRAMEXCHANGE_H

#include <deque>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace gpal::testing
{

/// The network of all `FakeUDPSocket` objects that are opened while it lives: they reach each other
/// by port, those of IPv4 and of IPv6 each among themselves. Nothing is lost, doubled or reordered;
/// a test that wants that sends what it likes with `send`. There is one at a time, made and
/// destroyed while no thread opens sockets; the rest may be used from any thread.
class DatagramExchange
{
public:
    /// What a read does when no datagram is there.
    enum EmptyRead {
        INTERRUPTED, ///< -1 with EINTR, as if a signal had come: nothing ever blocks
        WAITS        ///< waits, as a real one does: for readers with a thread of their own
    };

    /// A datagram; ports are plain numbers.
    struct Datagram {
        unsigned int from; ///< port that it comes from
        unsigned int to;   ///< port that it goes to
        std::string bytes; ///< what it holds
        /// Whether all of it is the same.
        bool operator==(const Datagram& other) const
        {
            return from == other.from && to == other.to && bytes == other.bytes;
        }
    };

    /// The network of the sockets that are opened from now on.
    explicit DatagramExchange(EmptyRead emptyRead = INTERRUPTED)
        : m_network(std::make_shared<Network>())
    {
        m_network->emptyRead = emptyRead;
        m_current = m_network;
    }
    DatagramExchange(const DatagramExchange&) = delete;
    DatagramExchange& operator=(const DatagramExchange&) = delete;
    ~DatagramExchange() { m_current = nullptr; }

    /// Delivers a datagram of a peer that is no socket of this process. Returns whether a socket is
    /// bound to the port it goes to, and has not thousands of unread ones already.
    bool send(const Datagram& datagram, int domain = AF_INET)
    {
        return m_network->deliver(domain, datagram);
    }

    /// What sockets have sent so far, in order, whether or not anyone was there to receive it.
    std::vector<Datagram> sent() const
    {
        const std::lock_guard<std::mutex> guard(m_network->mutex);
        return m_network->sent;
    }

private:
    friend class FakeUDPSocket;

    /// What a socket has received. The descriptor can be read as often as there are datagrams, so
    /// that `select` and `poll` work on it.
    struct Mailbox {
        Mailbox()
        {
            int ends[2] = {-1, -1};
            if (pipe2(ends, O_CLOEXEC) == 0 && fcntl(ends[1], F_SETFL, O_NONBLOCK) == 0) {
                descriptor = ends[0];
                m_writeEnd = ends[1];
            }
        }
        Mailbox(const Mailbox&) = delete;
        Mailbox& operator=(const Mailbox&) = delete;
        ~Mailbox()
        {
            close(descriptor);
            close(m_writeEnd);
        }

        /// False where a pipe holds no more: that many datagrams nobody has read.
        bool add(const Datagram& datagram)
        {
            const bool hasRoom = write(m_writeEnd, "", 1) == 1;
            if (hasRoom) {
                datagrams.push_back(datagram);
            }
            return hasRoom;
        }

        /// Waits for a datagram, which is then at the front.
        bool await() const
        {
            char one = 0;
            return read(descriptor, &one, 1) == 1;
        }

        int descriptor = -1;
        std::deque<Datagram> datagrams;

    private:
        int m_writeEnd = -1;
    };

    struct Network {
        using Endpoint = std::pair<int, unsigned int>; ///< domain and port

        bool bind(const Endpoint& endpoint, const std::shared_ptr<Mailbox>& mailbox)
        {
            const std::lock_guard<std::mutex> guard(mutex);
            return bound.emplace(endpoint, mailbox).second;
        }

        void unbind(const Endpoint& endpoint)
        {
            const std::lock_guard<std::mutex> guard(mutex);
            bound.erase(endpoint);
        }

        bool deliver(int domain, const Datagram& datagram)
        {
            const std::lock_guard<std::mutex> guard(mutex);
            const auto found = bound.find({domain, datagram.to});
            if (found == bound.end()) {
                return false;
            }
            return found->second->add(datagram);
        }

        std::mutex mutex;
        EmptyRead emptyRead = INTERRUPTED;
        std::map<Endpoint, std::shared_ptr<Mailbox>> bound;
        std::vector<Datagram> sent;
        unsigned int nextFreePort = 49152;
    };

    inline static std::shared_ptr<Network> m_current;

    std::shared_ptr<Network> m_network;
};

} // namespace gpal::testing

#endif
