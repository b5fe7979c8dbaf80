/// \file
/// Threads that are cancelled while they use a socket which others go on with.
#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <netdb.h>
#include <pthread.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/c_library.h"
#include "support/descriptors.h"
#include "support/full_pipe.h"
#include "support/network_calls.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"
#include "support/temporary_mounts.h"

using support::Captured;
using support::openDescriptors;
using support::PlainThread;
using support::Replacement;

namespace calls = support::calls;
using support::failing;

namespace
{

/// Cancels the thread that logs a certain line, counted from 1, in there.
class CancelledInTheLog
{
public:
    explicit CancelledInTheLog(int line)
        : m_log(calls::vsyslog, [this, line](int, const char*, va_list) {
              if (++lines == line) {
                  support::cancelOneself();
              }
          })
    {
    }
    int lines = 0;

private:
    Replacement<void(int, const char*, va_list)> m_log;
};

/// A socket is closed for good, or as open as it says.
void expectDefinedState(UDPSocket& socket)
{
    if (socket.socketHandle() >= 0) {
        EXPECT_NE(calls::fcntl.original(socket.socketHandle(), F_GETFD, 0), -1);
        EXPECT_EQ(socket.family(), AF_INET);
        EXPECT_EQ(htons(peers::boundAddress(socket.socketHandle()).port()), socket.localPort());
        return;
    }
    EXPECT_EQ(socket.localPort(), 0);
    EXPECT_EQ(socket.family(), 0);
    char byte = 0;
    socket.write(&byte, 1, htonl(INADDR_LOOPBACK), 9);
    EXPECT_EQ(socket.socketHandle(), -1) << "it doesn't open itself";
}

/// Cancels an action at each of the lines that it logs, and looks at what is left of the socket.
void cancelAtEachLine(int lines, bool isOpenBefore, const std::function<void(UDPSocket&)>& action)
{
    const Captured quiet(2);
    const auto before = openDescriptors();
    for (int line = 1; line <= lines; ++line) {
        UDPSocket socket;
        if (isOpenBefore) {
            ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
        }
        {
            CancelledInTheLog log(line);
            EXPECT_TRUE(PlainThread([&] { action(socket); }).wasCancelled()) << line;
            EXPECT_GE(log.lines, line);
        }
        const support::RecordedLog log;
        expectDefinedState(socket);
        socket.close();
        EXPECT_EQ(openDescriptors(), before) << line;
    }
}

void openAnywhere(UDPSocket& socket)
{
    socket.open(0, ADDRESS_FAMILY_IPV4, "", "");
}

} // namespace

TEST(UDPSocketCancelled, inAFailedLookUpIsClosed)
{
    const Replacement resolver(calls::getaddrinfo, [](const char*, const char*, const addrinfo*,
                                                      addrinfo**) { return EAI_NONAME; });
    cancelAtEachLine(1, false, openAnywhere);
}

TEST(UDPSocketCancelled, beforeALookUpMakesNone)
{
    const Replacement resolver(calls::getaddrinfo,
                               [](const char*, const char*, const addrinfo*, addrinfo**) {
                                   ADD_FAILURE() << "looked up";
                                   return EAI_NONAME;
                               });
    UDPSocket socket;
    EXPECT_TRUE(PlainThread([&] {
                    pthread_cancel(pthread_self());
                    openAnywhere(socket);
                }).wasCancelled());
    expectDefinedState(socket);
}

TEST(UDPSocketCancelled, inALookUpFinishesItAndLosesNoDescriptor)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory directory;
    const std::string hosts = directory.file("hosts", "127.0.0.1 some\n127.0.0.2 some\n::1 some\n");
    const support::ShownInPlace known(hosts, "/etc/hosts");
    const support::RecordedLog log;
    const auto before = openDescriptors();
    UDPSocket socket;
    const Replacement resolver(calls::getaddrinfo, [](const char* node, const char* service,
                                                      const addrinfo* hints, addrinfo** list) {
        pthread_cancel(pthread_self());
        return calls::getaddrinfo.original(node, service, hints, list);
    });
    // Of several addresses the C library asks the kernel which is the nearest.
    EXPECT_TRUE(PlainThread([&] {
                    socket.open(peers::freePort(), ADDRESS_FAMILY_NONE, "", "some");
                }).wasCancelledOnlyAtItsEnd());
    EXPECT_GE(socket.socketHandle(), 0);
    socket.close();
    EXPECT_EQ(openDescriptors(), before);
}

TEST(UDPSocketCancelled, inAComplaintAboutBeingOpenIsOpenOrClosed)
{
    cancelAtEachLine(2, true, openAnywhere);
}

TEST(UDPSocketCancelled, inAReportOfNoSocketIsClosed)
{
    const Replacement none(calls::socket, [](int, int, int) { return failing(EMFILE); });
    cancelAtEachLine(1, false, openAnywhere);
}

TEST(UDPSocketCancelled, inAReportOfNoSocketLeavesStandardErrorToOthers)
{
    const Captured quiet(2);
    const support::RecordedLog log;
    const Replacement none(calls::socket, [](int, int, int) {
        pthread_cancel(pthread_self());
        return failing(EMFILE);
    });
    UDPSocket socket;
    EXPECT_TRUE(support::leavesStandardErrorUnlocked([&] { openAnywhere(socket); }));
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST(UDPSocketCancelled, inAReportOfAnOptionIsClosed)
{
    const Replacement change(calls::fcntl, [](int, int, long) { return failing(EPERM); });
    cancelAtEachLine(2, false, openAnywhere);
}

TEST(UDPSocketCancelled, inAReportOfAPortIsClosed)
{
    const peers::Peer occupant;
    const unsigned short port = occupant.port();
    const Replacement close(calls::close, [](int fd) {
        calls::close.original(fd);
        return failing(EIO);
    });
    cancelAtEachLine(3, false, [port](UDPSocket& socket) {
        socket.open(port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1");
    });
}

TEST(UDPSocketCancelled, inAClosingIsOpenOrClosed)
{
    const Replacement close(calls::close, [](int fd) {
        calls::close.original(fd);
        return failing(EIO);
    });
    cancelAtEachLine(2, true, [](UDPSocket& socket) { socket.close(); });
}

TEST(UDPSocketCancelled, inAReportOfAReadOrWriteIsAsItWas)
{
    const Replacement wait(calls::select,
                           [](int, fd_set*, fd_set*, fd_set*, timeval*) { return failing(EINTR); });
    char byte = 0;
    unsigned int ip = 0;
    unsigned short port = 0;
    peers::Address to("127.0.0.1", 9);
    const std::function<void(UDPSocket&)> actions[] = {
        [&](UDPSocket& socket) { socket.read(&byte, 1u, nullptr, nullptr); },
        [&](UDPSocket& socket) { socket.read(&byte, 1, ip, port); },
        [&](UDPSocket& socket) { socket.write(&byte, 1, ip, port); },
        [&](UDPSocket& socket) { socket.write(&byte, 1u, to.get(), to.length()); },
        [&](UDPSocket& socket) { socket.write(&byte, 1u, "127.0.0.1", 9u); }};
    for (const auto& action : actions) {
        cancelAtEachLine(1, true, action);
    }
}

TEST(UDPSocketCancelled, inAReportOfAPriorityIsAsItWas)
{
    const Replacement refuse(calls::setsockopt,
                             [](int, int, int, const void*, socklen_t) { return failing(EACCES); });
    cancelAtEachLine(1, true, [](UDPSocket& socket) { socket.setPriority(46); });
}

TEST(UDPSocketCancelled, asItClosesHasNoClaimToTheNumberAnyMore)
{
    const support::RecordedLog log;
    UDPSocket socket;
    ASSERT_GE(socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0);
    const Replacement close(calls::close, [](int fd) {
        const int result = calls::close.original(fd);
        pthread_cancel(pthread_self());
        pthread_testcancel();
        return result;
    });
    EXPECT_TRUE(PlainThread([&] {
                    socket.close();
                    pthread_testcancel();
                }).wasCancelled());
    EXPECT_EQ(socket.socketHandle(), -1);
}

TEST(UDPSocketCancelled, blockedInAReportIsClosed)
{
    GPAL_SKIP_BECAUSE(support::whyPrintsAreNotUnwound());
    GPAL_SKIP_BECAUSE(support::whyStreamsAreLost());
    const peers::Peer occupant;
    const unsigned short port = occupant.port();
    const support::RecordedLog log;
    UDPSocket socket;
    const auto before = openDescriptors();
    {
        const support::FullInPlace nobodyReads(STDERR_FILENO);
        std::atomic<bool> refused{false};
        const Replacement bind(calls::bind, [&](int fd, const sockaddr* address, socklen_t size) {
            refused = true;
            return calls::bind.original(fd, address, size);
        });
        PlainThread opening([&] { socket.open(port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1"); });
        EXPECT_TRUE(support::eventually([&] { return refused.load(); }));
        opening.cancelOnceItBlocks();
        EXPECT_TRUE(opening.wasCancelled());
    }
    expectDefinedState(socket);
    EXPECT_EQ(socket.socketHandle(), -1);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(UDPSocketCancelled, blockedInAReadIsOpenAndReadsAgain)
{
    const support::RecordedLog log;
    const unsigned short port = peers::freePort();
    UDPSocket socket;
    ASSERT_GE(socket.open(port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1"), 0);
    char data[6] = "";
    std::atomic<bool> waits{false};
    const Replacement wait(calls::select, [&](int limit, fd_set* readable, fd_set* writable,
                                              fd_set* exceptional, timeval* timeout) {
        waits = true;
        return calls::select.original(limit, readable, writable, exceptional, timeout);
    });
    PlainThread reader([&] { socket.read(data, 5u, nullptr, nullptr); });
    EXPECT_TRUE(support::eventually([&] { return waits.load(); }));
    reader.cancel();
    EXPECT_TRUE(reader.wasCancelled());
    expectDefinedState(socket);
    const peers::Peer peer;
    peer.send("hello", {"127.0.0.1", port});
    EXPECT_EQ(socket.read(data, 5u, nullptr, nullptr), 5);
    EXPECT_TRUE(log.lines().empty());
}

TEST(UDPSocketCancelled, triesAClosedSocketNoLongerThoughNothingWaitsOrIsLogged)
{
    const Captured quiet(2);
    UDPSocket closed;
    closed.close();
    char byte = 0;
    unsigned int ip = 0;
    unsigned short port = 0;
    peers::Address to("127.0.0.1", 9);
    const std::function<int()> actions[] = {
        [&] { return closed.read(&byte, 1u, nullptr, nullptr); },
        [&] { return closed.read(&byte, 1, ip, port); },
        [&] { return closed.write(&byte, 1, ip, port); },
        [&] { return closed.write(&byte, 1u, to.get(), to.length()); },
        [&] { return closed.write(&byte, 1u, "127.0.0.1", 9u); },
        [&] { return recvfrom_overNonBlocking(-1, &byte, 1, 0, nullptr, nullptr); },
        [&] { return sendto_overNonBlocking(-1, &byte, 1, 0, to.get(), *to.length()); }};
    const support::RecordedLog log;
    EXPECT_EQ(actions[0](), -1) << "the failure that is logged";
    for (const auto& action : actions) {
        EXPECT_TRUE(PlainThread([&] {
                        pthread_cancel(pthread_self());
                        action();
                    }).wasCancelled());
    }
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST(UDPSocketCancelled, beforeAClosingIsOpenThoughNothingIsLogged)
{
    UDPSocket socket;
    openAnywhere(socket);
    const support::RecordedLog log;
    EXPECT_TRUE(PlainThread([&] {
                    pthread_cancel(pthread_self());
                    socket.close();
                }).wasCancelled());
    EXPECT_GE(socket.socketHandle(), 0);
    EXPECT_TRUE(log.lines().empty());
    expectDefinedState(socket);
}

TEST(UDPSocketReader, isWokenByADatagramOfItsOwn)
{
    const support::RecordedLog log;
    const unsigned short port = peers::freePort();
    UDPSocket socket;
    ASSERT_GE(socket.open(port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1"), 0);
    int result = -1;
    {
        const PlainThread reader([&] {
            char byte = 0;
            result = socket.read(&byte, 1u, nullptr, nullptr);
        });
        UDPSocket waker;
        char byte = 'x';
        EXPECT_EQ(waker.write(&byte, 1, htonl(INADDR_LOOPBACK), port), 1);
    }
    EXPECT_EQ(result, 1);
}
