#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <syslog.h>
#include <thread>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/network_calls.h"
#include "support/observed.h"
#include "support/plain_thread.h"

using support::Captured;
using support::LogLine;
using support::RecordedLog;
using support::Replacement;

namespace calls = support::calls;

namespace
{

bool isOpen(int descriptor)
{
    return calls::fcntl.original(descriptor, F_GETFD, 0) != -1;
}

std::string closing(int handle, int port)
{
    return "Closing socket " + std::to_string(handle) + ", family 2, port " + std::to_string(port) +
           "\n";
}

} // namespace

TEST(UDPSocketClose, closesTheDescriptorAndForgetsPortAndFamily)
{
    UDPSocket socket;
    const unsigned short port = peers::freePort();
    const int handle = socket.open(port, ADDRESS_FAMILY_IPV4, "", "");
    ASSERT_GE(handle, 0);
    const Captured errors(2);
    const RecordedLog log;
    EXPECT_EQ(socket.close(), 0);
    EXPECT_FALSE(isOpen(handle));
    EXPECT_EQ(socket.socketHandle(), -1);
    EXPECT_EQ(socket.localPort(), 0);
    EXPECT_EQ(socket.family(), 0);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_INFO, closing(handle, htons(port))}}));
    EXPECT_EQ(errors.text(), "");
}

TEST(UDPSocketClose, ofAClosedSocketIsSilent)
{
    const RecordedLog log;
    int closed = 0;
    const Replacement count(calls::close, [&](int) { return ++closed; });
    UDPSocket socket;
    EXPECT_EQ(socket.close(), 0);
    EXPECT_EQ(socket.close(), 0);
    EXPECT_EQ(closed, 0);
    EXPECT_TRUE(log.lines().empty());
}

TEST(UDPSocketClose, reportsTheSystemsFailureAndIsClosedAllTheSame)
{
    UDPSocket socket;
    const unsigned short port = peers::freePort();
    const int handle = socket.open(port, ADDRESS_FAMILY_IPV4, "", "");
    ASSERT_GE(handle, 0);
    const RecordedLog log;
    {
        const Replacement fail(calls::close, [](int fd) {
            calls::close.original(fd);
            errno = EIO;
            return -1;
        });
        EXPECT_EQ(socket.close(), -1);
        EXPECT_EQ(errno, EIO);
    }
    const std::string stored = std::to_string(htons(port));
    const std::vector<LogLine> expected = {
        {LOG_INFO, closing(handle, htons(port))},
        {LOG_ERR, "Error closing socket " + std::to_string(handle) + ", family 2, port " + stored +
                      ": " + std::strerror(EIO) + "\n"}};
    EXPECT_EQ(log.lines(), expected);
    EXPECT_EQ(socket.socketHandle(), -1);
    EXPECT_EQ(socket.localPort(), 0);
    EXPECT_EQ(socket.family(), 0);
}

TEST(UDPSocketClose, handsOnWhatTheSystemReturns)
{
    UDPSocket socket;
    ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    const RecordedLog log;
    const Replacement odd(calls::close, [](int fd) {
        calls::close.original(fd);
        return 7;
    });
    EXPECT_EQ(socket.close(), 7);
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST(UDPSocketClose, isFinalUntilTheNextOpen)
{
    const RecordedLog log;
    UDPSocket socket;
    socket.close();
    char byte = 0;
    EXPECT_EQ(socket.write(&byte, 1, htonl(INADDR_LOOPBACK), 9), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(socket.socketHandle(), -1);
    ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    const peers::Peer peer;
    EXPECT_EQ(socket.write(&byte, 1, htonl(INADDR_LOOPBACK), peer.port()), 1);
}

TEST(UDPSocketClose, happensAtTheLatestInTheDestructor)
{
    int handle = -1;
    const RecordedLog log;
    {
        UDPSocket socket;
        handle = socket.open(0, ADDRESS_FAMILY_IPV4, "", "");
        EXPECT_TRUE(isOpen(handle));
    }
    EXPECT_FALSE(isOpen(handle));
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_INFO, closing(handle, 0)}}));
}

TEST(UDPSocketClose, happensInAThreadThatIsBeingCancelledToo)
{
    int handle = -1;
    support::onAnotherThread([&] {
        UDPSocket socket;
        handle = socket.open(0, ADDRESS_FAMILY_IPV4, "", "");
        pthread_cancel(pthread_self()); // the destructor meets the cancellation
    });
    ASSERT_GE(handle, 0);
    EXPECT_FALSE(isOpen(handle));
}

TEST(UDPSocketClose, happensWhenAReaderIsCancelled)
{
    if (!support::unwindsWhenCancelled()) {
        GTEST_SKIP() << support::NO_UNWINDING;
    }
    int handle = -1;
    support::PlainThread reader([&] {
        UDPSocket socket;
        handle = socket.open(0, ADDRESS_FAMILY_IPV4, "", "");
        char byte = 0;
        socket.read(&byte, 1, nullptr, nullptr); // nobody sends
    });
    reader.cancel();
    EXPECT_TRUE(reader.wasCancelled());
    EXPECT_FALSE(handle >= 0 && isOpen(handle));
}
