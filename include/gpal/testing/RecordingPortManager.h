/// \file
/// A port manager that remembers which ports were bound.
#ifndef GPAL_TESTING_RECORDINGPORTMANAGER_H
#define GPAL_TESTING_RECORDINGPORTMANAGER_H

#include <arpa/inet.h>
#include <mutex>
#include <string>
#include <vector>

#include <gpal/UDPSocket.h>

namespace gpal::testing
{

/// The port manager of all sockets while it lives, of `FakeUDPSocket` too; the one before it is in
/// force again afterwards. May be told from any thread; made and destroyed while no other thread
/// opens sockets.
class RecordingPortManager : public PortMgmtIfc
{
public:
    /// A socket that was bound.
    struct Opened {
        std::string owner; ///< text that the socket was opened with
        unsigned int port; ///< as a plain number
        /// Whether all of it is the same.
        bool operator==(const Opened& other) const
        {
            return owner == other.owner && port == other.port;
        }
    };

    RecordingPortManager() : m_before(UDPSocket::getPortMgr()) { UDPSocket::setPortMgr(this); }
    RecordingPortManager(const RecordingPortManager&) = delete;
    RecordingPortManager& operator=(const RecordingPortManager&) = delete;
    ~RecordingPortManager() override { UDPSocket::setPortMgr(m_before); }

    int portOpened(const std::string& owner, unsigned int port) override
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_opened.push_back({owner, ntohs(static_cast<in_port_t>(port))});
        return 0;
    }

    /// The ports that were bound so far, in order.
    std::vector<Opened> opened() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_opened;
    }

private:
    PortMgmtIfc* m_before;
    mutable std::mutex m_mutex;
    std::vector<Opened> m_opened;
};

} // namespace gpal::testing

#endif
