// Datagrams that never leave the process.
#include <cerrno>
#include <poll.h>
#include <string>
#include <thread>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/testing/FakeUDPSocket.h>
#include <gpal/UDPSocket.h>

namespace
{

using gpal::testing::DatagramExchange;
using gpal::testing::FakeUDPSocket;
using testing::ElementsAre;

// What an application has to do for its sockets to be replaced.
template <typename Socket = UDPSocket>
class Announcer
{
public:
    int announce(const std::string& text)
    {
        return m_socket.write(text.data(), static_cast<unsigned int>(text.size()), "127.0.0.1",
                              9000);
    }

private:
    Socket m_socket{8000, "announcer"};
};

TEST(FakeUDPSocket, sendsToOthersByTheirPorts)
{
    const DatagramExchange network;
    Announcer<FakeUDPSocket> announcer;
    FakeUDPSocket listener(9000, "listener");
    EXPECT_EQ(announcer.announce("hello"), 5);

    char text[16] = {};
    unsigned int ip = 0;
    unsigned short port = 0;
    EXPECT_EQ(listener.read(text, sizeof text, ip, port), 5);
    EXPECT_STREQ(text, "hello");
    EXPECT_EQ(port, 8000);
}

TEST(DatagramExchange, showsWhatWasSent)
{
    const DatagramExchange network;
    Announcer<FakeUDPSocket> announcer;
    announcer.announce("is anyone there?");
    EXPECT_THAT(network.sent(),
                ElementsAre(DatagramExchange::Datagram{8000, 9000, "is anyone there?"}));
}

TEST(DatagramExchange, deliversWhatATestSends)
{
    DatagramExchange network;
    FakeUDPSocket listener(9000, "listener");
    EXPECT_TRUE(network.send({1234, 9000, "late"}));
    EXPECT_FALSE(network.send({1234, 9001, "nobody there"}));
    char text[16] = {};
    unsigned int ip = 0;
    unsigned short port = 0;
    EXPECT_EQ(listener.read(text, sizeof text, ip, port), 4);
    EXPECT_EQ(port, 1234);
}

TEST(DatagramExchange, interruptsReadsWhereNothingIs)
{
    const DatagramExchange network;
    FakeUDPSocket listener(9000, "listener");
    char text[16];
    unsigned int ip = 0;
    unsigned short port = 0;
    EXPECT_EQ(listener.read(text, sizeof text, ip, port), -1);
    EXPECT_EQ(errno, EINTR);
}

TEST(DatagramExchange, letsReadersWaitIfTheTestWantsThat)
{
    DatagramExchange network(DatagramExchange::WAITS);
    FakeUDPSocket listener(9000, "listener");
    int read = 0;
    std::thread reader([&] {
        char text[16];
        unsigned int ip = 0;
        unsigned short port = 0;
        read = listener.read(text, sizeof text, ip, port);
    });
    network.send({1234, 9000, "at last"});
    reader.join();
    EXPECT_EQ(read, 7);
}

TEST(FakeUDPSocket, canBePolled)
{
    DatagramExchange network;
    FakeUDPSocket listener(9000, "listener");
    pollfd polled{listener.socketHandle(), POLLIN, 0};
    EXPECT_EQ(poll(&polled, 1, 0), 0);
    network.send({1234, 9000, "there"});
    EXPECT_EQ(poll(&polled, 1, 0), 1);
}

TEST(FakeUDPSocket, cannotBeOpenedWithoutANetwork)
{
    FakeUDPSocket socket;
    EXPECT_EQ(socket.open(9000, ADDRESS_FAMILY_IPV4, "", ""), -1);
    EXPECT_EQ(errno, ENETDOWN);
    EXPECT_EQ(socket.socketHandle(), -1);
}

TEST(FakeUDPSocket, keepsThePriority)
{
    const DatagramExchange network;
    FakeUDPSocket socket(9000, "voice");
    EXPECT_EQ(socket.setPriority(46), 0);
    EXPECT_EQ(socket.priority(), 46);
}

// Whatever an application calls on the one can be called on the other.
template <typename Socket>
struct Interface {
    using Open = int (Socket::*)(unsigned int, AddressFamily, const std::string&, std::string);
    using Close = int (Socket::*)();
    using Read = int (Socket::*)(char*, unsigned int, sockaddr*, unsigned int*);
    using ReadIPv4 = int (Socket::*)(char*, int, unsigned int&, unsigned short&);
    using WriteIPv4 = int (Socket::*)(char*, int, unsigned int, unsigned short);
    using Write = int (Socket::*)(const char*, unsigned int, sockaddr*, unsigned int*);
    using WriteToText = int (Socket::*)(const char*, unsigned int, const std::string&,
                                        unsigned int);
    static constexpr Open OPEN = &Socket::open;
    static constexpr Close CLOSE = &Socket::close;
    static constexpr Read READ = &Socket::read;
    static constexpr ReadIPv4 READ_IPV4 = &Socket::read;
    static constexpr WriteIPv4 WRITE_IPV4 = &Socket::write;
    static constexpr Write WRITE = &Socket::write;
    static constexpr WriteToText WRITE_TO_TEXT = &Socket::write;
    static constexpr int (Socket::*SET_PRIORITY)(unsigned char) = &Socket::setPriority;
    static constexpr int (Socket::*HANDLE)() const = &Socket::socketHandle;
    static constexpr int (Socket::*LOCAL_PORT)() const = &Socket::localPort;
    static constexpr int (Socket::*FAMILY)() const = &Socket::family;
    static constexpr void (*SET_PORT_MANAGER)(PortMgmtIfc*) = &Socket::setPortMgr;
    static constexpr PortMgmtIfc* (*PORT_MANAGER)() = &Socket::getPortMgr;
};
template struct Interface<UDPSocket>;
template struct Interface<FakeUDPSocket>;

} // namespace
