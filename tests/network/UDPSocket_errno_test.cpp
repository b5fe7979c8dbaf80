/// \file
/// The reason of a failure, which stands in `errno` whatever printing and logging it does.
#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/failing_allocations.h"
#include "support/network_calls.h"
#include "support/observed.h"

using support::Captured;
using support::Replacement;

namespace calls = support::calls;
using support::failing;

namespace
{

/// A logger that leaves an `errno` of its own behind.
class CarelessLogger
{
public:
    CarelessLogger()
        : m_log(calls::vsyslog, [this](int, const char*, va_list) {
              ++lines;
              errno = ENOTCONN;
          })
    {
    }
    int lines = 0;

private:
    Replacement<void(int, const char*, va_list)> m_log;
};

/// Makes every look-up fail.
class NoResolver
{
public:
    NoResolver(int result, int error)
        : m_lookUp(calls::getaddrinfo,
                   [result, error](const char*, const char*, const addrinfo*, addrinfo**) {
                       errno = error;
                       return result;
                   })
    {
    }

private:
    Replacement<int(const char*, const char*, const addrinfo*, addrinfo**)> m_lookUp;
};

class UDPSocketErrno : public testing::Test
{
protected:
    int errnoOfOpen(unsigned int port = 0)
    {
        errno = 0;
        EXPECT_EQ(m_socket.open(port, ADDRESS_FAMILY_IPV4, "owner", "127.0.0.1"), -1);
        return errno;
    }
    void open() { ASSERT_GE(m_socket.open(0, ADDRESS_FAMILY_IPV4, "", ""), 0); }

    Captured m_quiet{2};
    CarelessLogger m_log;
    UDPSocket m_socket;
    char m_data[6] = "hello";
};

} // namespace

TEST_F(UDPSocketErrno, ofALookUpSaysWhatTheResolverSaid)
{
    struct Case {
        int result;
        int left; ///< in errno, by the resolver
        int expected;
    };
    for (const Case& look :
         {Case{EAI_SYSTEM, EMFILE, EMFILE}, Case{EAI_SYSTEM, 0, EADDRNOTAVAIL},
          Case{EAI_MEMORY, 0, ENOMEM}, Case{EAI_MEMORY, EDOM, ENOMEM}, Case{EAI_AGAIN, 0, EAGAIN},
          Case{EAI_NONAME, 0, EADDRNOTAVAIL}, Case{EAI_NONAME, EDOM, EADDRNOTAVAIL},
          Case{EAI_FAMILY, 0, EADDRNOTAVAIL}, Case{-12345, 0, EADDRNOTAVAIL},
          Case{12345, 0, EADDRNOTAVAIL}}) {
        const NoResolver resolver(look.result, look.left);
        EXPECT_EQ(errnoOfOpen(), look.expected) << look.result << ", " << look.left;
    }
}

TEST_F(UDPSocketErrno, ofALookUpWithoutAnAddressIsNotNothing)
{
    const NoResolver nobody(0, 0);
    EXPECT_EQ(errnoOfOpen(), EADDRNOTAVAIL);
    EXPECT_EQ(m_log.lines, 0);
}

TEST_F(UDPSocketErrno, ofARealLookUpIsNotNothing)
{
    errno = 0;
    EXPECT_EQ(m_socket.open(1, static_cast<AddressFamily>(77), "", ""), -1);
    EXPECT_EQ(errno, EADDRNOTAVAIL);
    errno = 0;
    EXPECT_EQ(m_socket.open(1, ADDRESS_FAMILY_IPV4, "", "::1"), -1);
    EXPECT_EQ(errno, EADDRNOTAVAIL);
}

TEST_F(UDPSocketErrno, ofASocketThatCannotBeHadSurvivesTheList)
{
    const Replacement none(calls::socket, [](int, int, int) { return failing(EMFILE); });
    const Replacement free(calls::freeaddrinfo, [](addrinfo* list) {
        calls::freeaddrinfo.original(list);
        errno = EDOM;
    });
    EXPECT_EQ(errnoOfOpen(), EMFILE);
    EXPECT_EQ(m_log.lines, 1);
}

TEST_F(UDPSocketErrno, ofTheLastAddressSurvivesItsClosing)
{
    const peers::Peer occupant;
    const Replacement close(calls::close, [](int fd) {
        calls::close.original(fd);
        return failing(EIO);
    });
    EXPECT_EQ(errnoOfOpen(occupant.port()), EADDRINUSE);
    EXPECT_EQ(m_log.lines, 3) << "of bind, of the closing, of its failure";
}

TEST_F(UDPSocketErrno, ofAnOptionThatIsRefusedIsNotThatOfTheOpen)
{
    const peers::Peer occupant;
    const Replacement change(calls::fcntl, [](int, int, long) { return failing(EPERM); });
    EXPECT_EQ(errnoOfOpen(occupant.port()), EADDRINUSE);
}

TEST_F(UDPSocketErrno, ofAPortManagerThatClosesTheSocketIsNotNothing)
{
    struct Closing : PortMgmtIfc {
        explicit Closing(UDPSocket& socket) : m_socket(socket) {}
        int portOpened(const std::string& /*owner*/, unsigned int /*port*/) override
        {
            return m_socket.close();
        }

    private:
        UDPSocket& m_socket;
    };
    Closing manager(m_socket);
    UDPSocket::setPortMgr(&manager);
    EXPECT_NE(errnoOfOpen(peers::freePort()), 0);
    UDPSocket::setPortMgr(nullptr);
}

TEST_F(UDPSocketErrno, ofReadsAndWritesSurvivesTheLog)
{
    open();
    const peers::Peer peer;
    m_socket.write(m_data, 1, inet_addr("127.0.0.1"), peer.port()); // binds it
    peer.send("x", {"127.0.0.1", peers::boundAddress(m_socket.socketHandle()).port()});
    const Replacement receive(
        calls::recvfrom,
        [](int, void*, size_t, int, sockaddr*, socklen_t*) -> ssize_t { return failing(ENOBUFS); });
    const Replacement send(calls::sendto,
                           [](int, const void*, size_t, int, const sockaddr*,
                              socklen_t) -> ssize_t { return failing(EPERM); });
    unsigned int ip = 0;
    unsigned short port = 0;
    peers::Address to = peer.address();
    const std::function<int()> failures[] = {
        [&] { return m_socket.read(m_data, 1u, nullptr, nullptr); },
        [&] { return m_socket.read(m_data, 1, ip, port); },
        [&] { return m_socket.write(m_data, 1, ip, port); },
        [&] { return m_socket.write(m_data, 1u, to.get(), to.length()); },
        [&] { return m_socket.write(m_data, 1u, "127.0.0.1", port); },
    };
    int number = 0;
    for (const auto& failure : failures) {
        open(); // so that the failure is logged
        const int handle = m_socket.socketHandle();
        const Replacement ready(calls::select,
                                [](int, fd_set*, fd_set*, fd_set*, timeval*) { return 1; });
        const int lines = m_log.lines;
        errno = 0;
        EXPECT_EQ(failure(), -1);
        EXPECT_EQ(errno, number < 2 ? ENOBUFS : EPERM) << number;
        EXPECT_EQ(m_log.lines, lines + 1);
        EXPECT_EQ(m_socket.socketHandle(), handle);
        ++number;
    }
}

TEST_F(UDPSocketErrno, ofAWriteThatMayNotBeWaitedForAnyLongerSaysSo)
{
    open();
    const Replacement never(calls::select,
                            [](int, fd_set*, fd_set*, fd_set*, timeval*) { return 0; });
    errno = 0;
    EXPECT_EQ(m_socket.write(m_data, 5, inet_addr("127.0.0.1"), 9), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(UDPSocketErrno, ofAPriorityAndOfAClosingSurvivesTheLog)
{
    open();
    const Replacement refuse(calls::setsockopt,
                             [](int, int, int, const void*, socklen_t) { return failing(EACCES); });
    EXPECT_EQ(m_socket.setPriority(46), -1);
    EXPECT_EQ(errno, EACCES);
    const Replacement close(calls::close, [](int fd) {
        calls::close.original(fd);
        return failing(EIO);
    });
    EXPECT_EQ(m_socket.close(), -1);
    EXPECT_EQ(errno, EIO);
}

TEST_F(UDPSocketErrno, needsNoMemoryForItsReports)
{
    open();
    m_socket.close();
    m_socket.close();
    const std::string longName(40, 'x');
    const peers::Peer occupant;
    struct Failure {
        int result;
        int error;
    };
    Failure lookUp{};
    Failure reading{};
    {
        const Replacement resolver(calls::getaddrinfo, [](const char*, const char*, const addrinfo*,
                                                          addrinfo**) { return EAI_NONAME; });
        const support::FailingAllocations none(0, support::FailingAllocations::OF_ALL_THREADS);
        // The short text of the address takes no memory.
        lookUp = {m_socket.open(1, ADDRESS_FAMILY_IPV4, longName, ""), errno};
        reading = {m_socket.read(m_data, 1u, nullptr, nullptr), errno};
    }
    EXPECT_EQ(lookUp.result, -1);
    EXPECT_EQ(lookUp.error, EADDRNOTAVAIL);
    EXPECT_EQ(reading.result, -1);
    EXPECT_EQ(reading.error, EBADF);
    EXPECT_NE(m_quiet.text().find("Read from socket -1, port 0 failed "), std::string::npos);
}

TEST(UDPSocketReport, isNotCutHoweverLongItsTextIs)
{
    const Captured errors(2);
    std::string logged;
    const Replacement log(calls::vsyslog, [&](int, const char* format, va_list arguments) {
        std::string text(10000, '\0');
        const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
        logged += text.substr(0, static_cast<std::size_t>(length));
    });
    const std::string address(9000, '1');
    const peers::Peer occupant;
    const Replacement resolver(calls::getaddrinfo, [](const char*, const char* service,
                                                      const addrinfo* hints, addrinfo** list) {
        return calls::getaddrinfo.original("127.0.0.1", service, hints, list);
    });
    UDPSocket socket;
    EXPECT_EQ(socket.open(occupant.port(), ADDRESS_FAMILY_IPV4, "", address), -1);
    const std::string message =
        std::string("UDPSocket::open(): unable to bind the UDP socket to a server port ") +
        std::strerror(EADDRINUSE) + " (" + address + " " + std::to_string(htons(occupant.port())) +
        ")\n";
    EXPECT_EQ(errors.text(), message);
    EXPECT_EQ(logged.substr(0, message.size()), message);
}
