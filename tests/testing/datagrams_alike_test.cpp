// Sockets on the loopback interface and sockets in memory: the same scenes are played with both.
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <gpal/testing/FakeUDPSocket.h>
#include <gpal/testing/MockNetwork.h>
#include <gpal/UDPSocket.h>

namespace
{

using gpal::testing::DatagramExchange;
using gpal::testing::FakeUDPSocket;

/// A port that nobody has bound at the moment.
unsigned short freePort()
{
    const int probe = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length);
    close(probe);
    return ntohs(address.sin_port);
}

template <typename Socket>
class SocketsAlike : public testing::Test
{
protected:
    /// Sends a text from the one socket to the other's port on this host.
    int send(const std::string& text)
    {
        return m_sender.write(text.data(), static_cast<unsigned int>(text.size()), "127.0.0.1",
                              m_receiverPort);
    }

    int open(Socket& socket, unsigned int number)
    {
        return socket.open(number, ADDRESS_FAMILY_IPV4, "test", "127.0.0.1");
    }

    const unsigned short m_senderPort = freePort();
    const unsigned short m_receiverPort = freePort();
    const DatagramExchange m_network;
    Socket m_sender;
    Socket m_receiver;
    char m_buffer[16] = {};
    unsigned int m_ip = 0;
    unsigned short m_port = 0;
};

using Sockets = testing::Types<UDPSocket, FakeUDPSocket>;
TYPED_TEST_SUITE(SocketsAlike, Sockets);

TYPED_TEST(SocketsAlike, areClosedUntilTheyAreOpened)
{
    EXPECT_EQ(this->m_receiver.socketHandle(), -1);
    EXPECT_EQ(this->m_receiver.family(), ADDRESS_FAMILY_NONE);
    const int handle = this->open(this->m_receiver, this->m_receiverPort);
    EXPECT_GE(handle, 0);
    EXPECT_EQ(this->m_receiver.socketHandle(), handle);
    EXPECT_EQ(this->m_receiver.family(), AF_INET);
    EXPECT_EQ(this->m_receiver.localPort(), htons(this->m_receiverPort));
    EXPECT_EQ(this->m_receiver.close(), 0);
    EXPECT_EQ(this->m_receiver.socketHandle(), -1);
    EXPECT_EQ(this->m_receiver.localPort(), 0);
    EXPECT_EQ(this->m_receiver.family(), ADDRESS_FAMILY_NONE);
    EXPECT_EQ(this->m_receiver.close(), 0);
}

TYPED_TEST(SocketsAlike, receiveWhatIsSentToThem)
{
    this->open(this->m_sender, this->m_senderPort);
    this->open(this->m_receiver, this->m_receiverPort);
    EXPECT_EQ(this->send("hello"), 5);
    EXPECT_EQ(
        this->m_receiver.read(this->m_buffer, sizeof this->m_buffer, this->m_ip, this->m_port), 5);
    EXPECT_STREQ(this->m_buffer, "hello");
    EXPECT_EQ(this->m_ip, htonl(INADDR_LOOPBACK));
    EXPECT_EQ(this->m_port, this->m_senderPort);
}

TYPED_TEST(SocketsAlike, tellTheWholeAddressOfTheSender)
{
    this->open(this->m_sender, this->m_senderPort);
    this->open(this->m_receiver, this->m_receiverPort);
    this->send("hello");
    sockaddr_in from{};
    unsigned int length = sizeof from;
    EXPECT_EQ(
        this->m_receiver.read(this->m_buffer, 3U, reinterpret_cast<sockaddr*>(&from), &length),
        3); // the rest is lost
    EXPECT_EQ(length, sizeof from);
    EXPECT_EQ(from.sin_family, AF_INET);
    EXPECT_EQ(ntohs(from.sin_port), this->m_senderPort);
    EXPECT_EQ(from.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
}

TYPED_TEST(SocketsAlike, keepTheOrder)
{
    this->open(this->m_sender, this->m_senderPort);
    this->open(this->m_receiver, this->m_receiverPort);
    this->send("one");
    this->send("two");
    EXPECT_EQ(this->m_receiver.read(this->m_buffer, 3U, nullptr, nullptr), 3);
    EXPECT_STREQ(this->m_buffer, "one");
    EXPECT_EQ(this->m_receiver.read(this->m_buffer, 3U, nullptr, nullptr), 3);
    EXPECT_STREQ(this->m_buffer, "two");
}

TYPED_TEST(SocketsAlike, haveAPortToThemselves)
{
    this->open(this->m_receiver, this->m_receiverPort);
    EXPECT_EQ(this->open(this->m_sender, this->m_receiverPort), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    this->m_receiver.close();
    EXPECT_GE(this->open(this->m_sender, this->m_receiverPort), 0);
}

TYPED_TEST(SocketsAlike, getAPortWithTheFirstDatagramIfTheyHaveNone)
{
    this->open(this->m_receiver, this->m_receiverPort);
    char text[] = "hi";
    // A new one opens itself, too.
    EXPECT_EQ(this->m_sender.write(text, 2, htonl(INADDR_LOOPBACK), this->m_receiverPort), 2);
    EXPECT_EQ(this->m_sender.localPort(), 0);
    EXPECT_EQ(
        this->m_receiver.read(this->m_buffer, sizeof this->m_buffer, this->m_ip, this->m_port), 2);
    EXPECT_NE(this->m_port, 0);
}

TYPED_TEST(SocketsAlike, doNotOpenThemselvesOnceTheyWereClosed)
{
    char text[] = "hi";
    this->m_sender.close();
    EXPECT_EQ(this->m_sender.write(text, 2, htonl(INADDR_LOOPBACK), this->m_receiverPort), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(this->send("hi"), -1);
    EXPECT_EQ(errno, EAFNOSUPPORT);
}

TYPED_TEST(SocketsAlike, sendToNobodyWithoutAFailure)
{
    this->open(this->m_sender, this->m_senderPort);
    EXPECT_EQ(this->send("hello"), 5);
}

TYPED_TEST(SocketsAlike, refuseWhatCannotBeSent)
{
    this->open(this->m_sender, this->m_senderPort);
    char text[] = "hi";
    EXPECT_EQ(this->send(""), 0);
    EXPECT_EQ(this->send(std::string(65508, 'x')), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(this->m_sender.write(text, -1, htonl(INADDR_LOOPBACK), this->m_receiverPort), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(this->m_sender.write(text, 2, htonl(INADDR_LOOPBACK), 0), -1);
    EXPECT_EQ(errno, EINVAL);
    sockaddr_in to{};
    EXPECT_EQ(this->m_sender.write(text, 2U, reinterpret_cast<sockaddr*>(&to), nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    unsigned int length = sizeof to;
    EXPECT_EQ(this->m_sender.write(text, 2U, nullptr, &length), -1);
    EXPECT_EQ(errno, EDESTADDRREQ);
}

TYPED_TEST(SocketsAlike, refuseWhatCannotBeRead)
{
    EXPECT_EQ(this->m_receiver.read(this->m_buffer, 5U, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EBADF);
    this->open(this->m_receiver, this->m_receiverPort);
    sockaddr from{};
    EXPECT_EQ(this->m_receiver.read(this->m_buffer, 5U, &from, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(this->m_receiver.read(nullptr, 5U, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(this->m_receiver.read(this->m_buffer, -1, this->m_ip, this->m_port), -1);
    EXPECT_EQ(errno, EINVAL);
}

TYPED_TEST(SocketsAlike, takeAPriorityWhileTheyAreOpen)
{
    EXPECT_EQ(this->m_sender.setPriority(46), -1);
    this->open(this->m_sender, this->m_senderPort);
    EXPECT_EQ(this->m_sender.setPriority(46), 0);
}

TYPED_TEST(SocketsAlike, areClosedWhenThePortManagerThrows)
{
    testing::StrictMock<gpal::testing::MockPortMgmt> manager;
    TypeParam::setPortMgr(&manager);
    EXPECT_EQ(TypeParam::getPortMgr(), &manager);
    EXPECT_CALL(manager, portOpened("test", htons(this->m_receiverPort)))
        .WillOnce(testing::Throw(std::runtime_error("no")));
    EXPECT_THROW(this->open(this->m_receiver, this->m_receiverPort), std::runtime_error);
    EXPECT_EQ(this->m_receiver.socketHandle(), -1);
    TypeParam::setPortMgr(nullptr);
    EXPECT_GE(this->open(this->m_receiver, this->m_receiverPort), 0);
}

} // namespace
