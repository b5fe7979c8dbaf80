// Which ports were bound, by real sockets and by those in memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/testing/FakeUDPSocket.h>
#include <gpal/testing/MockNetwork.h>
#include <gpal/testing/RecordingPortManager.h>
#include <gpal/UDPSocket.h>

namespace
{

using gpal::testing::DatagramExchange;
using gpal::testing::FakeUDPSocket;
using gpal::testing::RecordingPortManager;
using testing::ElementsAre;

TEST(RecordingPortManager, isToldOfBoundPorts)
{
    const RecordingPortManager ports;
    const DatagramExchange network;
    const FakeUDPSocket voice(5004, "voice");
    const FakeUDPSocket signalling(5060, "signalling");
    const FakeUDPSocket unbound(0, "nobody");
    EXPECT_THAT(ports.opened(), ElementsAre(RecordingPortManager::Opened{"voice", 5004},
                                            RecordingPortManager::Opened{"signalling", 5060}));
}

TEST(RecordingPortManager, isInForceWhileItLives)
{
    testing::NiceMock<gpal::testing::MockPortMgmt> before;
    UDPSocket::setPortMgr(&before);
    {
        const RecordingPortManager ports;
        EXPECT_EQ(UDPSocket::getPortMgr(), &ports);
    }
    EXPECT_EQ(UDPSocket::getPortMgr(), &before);
    UDPSocket::setPortMgr(nullptr);
}

} // namespace
