/// \file
/// Port managers that do more than listen.
#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <functional>
#include <netdb.h>
#include <new>
#include <pthread.h>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/descriptors.h"
#include "support/network_calls.h"
#include "support/observed.h"
#include "support/plain_thread.h"

using support::Captured;
using support::openDescriptors;
using support::RecordedLog;
using support::Replacement;

namespace calls = support::calls;

namespace
{

/// Does something with the first port that it is told of.
class ActsOnce : public PortMgmtIfc
{
public:
    explicit ActsOnce(std::function<void()> action) : m_action(std::move(action))
    {
        UDPSocket::setPortMgr(this);
    }
    ActsOnce(const ActsOnce&) = delete;
    ActsOnce& operator=(const ActsOnce&) = delete;
    ~ActsOnce() override { UDPSocket::setPortMgr(nullptr); }

    int portOpened(const std::string& /*owner*/, unsigned int /*port*/) override
    {
        if (++told == 1) {
            m_action();
        }
        return 0;
    }
    int told = 0;

private:
    std::function<void()> m_action;
};

class UDPSocketPortManager : public testing::Test
{
protected:
    int open() { return m_socket.open(peers::freePort(), ADDRESS_FAMILY_IPV4, "owner", ""); }
    void expectClosedForGood()
    {
        EXPECT_EQ(m_socket.socketHandle(), -1);
        EXPECT_EQ(m_socket.localPort(), 0);
        EXPECT_EQ(m_socket.family(), 0);
        char byte = 0;
        EXPECT_EQ(m_socket.write(&byte, 1, htonl(INADDR_LOOPBACK), 9), -1);
        EXPECT_EQ(m_socket.socketHandle(), -1) << "it doesn't open itself";
        EXPECT_EQ(openDescriptors(), m_before);
    }

    Captured m_quiet{2};
    RecordedLog m_log;
    peers::Peer m_occupant;
    UDPSocket m_socket;
    const std::set<std::string> m_before = openDescriptors();
};

} // namespace

TEST_F(UDPSocketPortManager, thatClosesTheSocketLeavesItClosedForGood)
{
    const ActsOnce manager([&] { m_socket.close(); });
    EXPECT_EQ(open(), -1);
    expectClosedForGood();
}

TEST_F(UDPSocketPortManager, thatOpensTheSocketOnAnotherPortLeavesItOpenThere)
{
    const unsigned short other = peers::freePort();
    const ActsOnce manager([&] { m_socket.open(other, ADDRESS_FAMILY_IPV4, "", ""); });
    const int handle = open();
    EXPECT_EQ(handle, m_socket.socketHandle());
    EXPECT_EQ(peers::boundAddress(handle).port(), other);
    EXPECT_EQ(m_socket.localPort(), htons(other));
    EXPECT_EQ(manager.told, 2);
    m_socket.close();
    expectClosedForGood();
}

TEST_F(UDPSocketPortManager, whoseOtherOpenFailsLeavesTheSocketClosedForGood)
{
    const ActsOnce manager(
        [&] { m_socket.open(m_occupant.port(), ADDRESS_FAMILY_IPV4, "", "127.0.0.1"); });
    EXPECT_EQ(open(), -1);
    expectClosedForGood();
}

TEST_F(UDPSocketPortManager, thatThrowsClosesTheSocketAndFreesTheList)
{
    int freed = 0;
    const Replacement count(calls::freeaddrinfo, [&](addrinfo* list) {
        calls::freeaddrinfo.original(list);
        ++freed;
    });
    const ActsOnce manager([] { throw std::bad_alloc(); });
    EXPECT_THROW(open(), std::bad_alloc);
    EXPECT_EQ(freed, 1);
    expectClosedForGood();
    EXPECT_GE(open(), 0);
}

TEST_F(UDPSocketPortManager, thatThrowsWhileASocketIsMadeLeavesNothingOpen)
{
    const ActsOnce manager([] { throw std::bad_alloc(); });
    EXPECT_THROW(UDPSocket(peers::freePort(), "owner"), std::bad_alloc);
    EXPECT_EQ(openDescriptors(), m_before);
}

TEST_F(UDPSocketPortManager, inWhichTheThreadIsCancelledLeavesTheSocketClosed)
{
    int freed = 0;
    const Replacement count(calls::freeaddrinfo, [&](addrinfo* list) {
        calls::freeaddrinfo.original(list);
        ++freed;
    });
    const ActsOnce manager(support::cancelOneself);
    support::PlainThread thread(
        [this] { m_socket.open(peers::freePort(), ADDRESS_FAMILY_IPV4, "", ""); });
    EXPECT_TRUE(thread.wasCancelled());
    EXPECT_EQ(freed, 1);
    expectClosedForGood();
}
