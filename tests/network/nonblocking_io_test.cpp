#include <gpal/UDPSocket.h>

#include <cerrno>
#include <cstring>
#include <syslog.h>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/network_calls.h"
#include "support/observed.h"

using peers::Address;
using peers::Peer;
using support::Captured;
using support::LogLine;
using support::RecordedLog;
using support::Replacement;

namespace calls = support::calls;

namespace
{

/// What one `select` gets.
struct Wait {
    int limit = 0;
    bool hasRead = false;
    bool hasWrite = false;
    bool hasExceptional = false;
    int members = 0; ///< descriptors in the one set that is there
    bool hasTimeout = false;
    long milliseconds = 0;
};

Wait described(int limit, const fd_set* readable, const fd_set* writable, const fd_set* exceptional,
               const timeval* timeout)
{
    Wait wait{limit,
              readable != nullptr,
              writable != nullptr,
              exceptional != nullptr,
              0,
              timeout != nullptr,
              0};
    const fd_set* set = readable != nullptr ? readable : writable;
    for (int fd = 0; set != nullptr && fd < FD_SETSIZE; ++fd) {
        wait.members += FD_ISSET(fd, set) ? 1 : 0;
    }
    if (timeout != nullptr) {
        wait.milliseconds = static_cast<long>(timeout->tv_sec * 1000 + timeout->tv_usec / 1000);
    }
    return wait;
}

/// A kernel that answers each `select` in turn: 0 for a wait that ran out, as it leaves set and
/// time-out behind then.
class Waits
{
public:
    explicit Waits(std::vector<int> results)
        : m_results(std::move(results)),
          m_select(calls::select, [this](int limit, fd_set* readable, fd_set* writable,
                                         fd_set* exceptional, timeval* timeout) {
              seen.push_back(described(limit, readable, writable, exceptional, timeout));
              const std::size_t turn = std::min(seen.size(), m_results.size()) - 1;
              const int result = m_results[turn];
              if (result == 0) {
                  FD_ZERO(writable);
                  *timeout = {0, 0};
              }
              errno = result == -1 ? EINTR : errno;
              return result;
          })
    {
    }
    std::vector<Wait> seen;

private:
    std::vector<int> m_results;
    Replacement<int(int, fd_set*, fd_set*, fd_set*, timeval*)> m_select;
};

std::string timedOut(int seconds, int fd)
{
    return "Timeout " + std::to_string(seconds) + ":30 writing into UDP socket " +
           std::to_string(fd) + "\n";
}

std::string notWritten(int fd, int written, int of)
{
    return "Error writing into UDP socket " + std::to_string(fd) + ", " + std::to_string(written) +
           " of " + std::to_string(of) + " bytes written\n";
}

int sendHello(const Peer& from, const Address& to)
{
    return sendto_overNonBlocking(from.descriptor(), "hello", 5, 0, to.get(), to.size());
}

} // namespace

TEST(SendtoOverNonBlocking, waitsForWritabilityFiveSecondsAndSends)
{
    const Peer sender;
    const Peer receiver;
    Waits waits({1});
    EXPECT_EQ(sendHello(sender, receiver.address()), 5);
    EXPECT_EQ(receiver.receive().content, "hello");
    ASSERT_EQ(waits.seen.size(), 1u);
    EXPECT_EQ(waits.seen[0].limit, sender.descriptor() + 1);
    EXPECT_FALSE(waits.seen[0].hasRead);
    EXPECT_TRUE(waits.seen[0].hasWrite);
    EXPECT_FALSE(waits.seen[0].hasExceptional);
    EXPECT_EQ(waits.seen[0].members, 1);
    EXPECT_EQ(waits.seen[0].milliseconds, 5000);
}

TEST(SendtoOverNonBlocking, complainsSixTimesOnASocketThatStaysBlocked)
{
    const Peer sender;
    const Peer receiver;
    const int fd = sender.descriptor();
    const Captured errors(2);
    const RecordedLog log;
    Waits waits({0});
    EXPECT_EQ(sendHello(sender, receiver.address()), -1);
    std::string printed;
    std::vector<LogLine> logged;
    for (int seconds = 5; seconds <= 30; seconds += 5) {
        printed += timedOut(seconds, fd);
        logged.push_back({LOG_ERR, timedOut(seconds, fd)});
    }
    printed += notWritten(fd, 0, 5);
    logged.push_back({LOG_ERR, notWritten(fd, 0, 5)});
    EXPECT_EQ(errors.text(), printed);
    EXPECT_EQ(log.lines(), logged);
    ASSERT_EQ(waits.seen.size(), 6u);
    for (std::size_t pass = 1; pass < 6; ++pass) {
        EXPECT_EQ(waits.seen[pass].limit, fd + 1);
        EXPECT_TRUE(waits.seen[pass].hasWrite);
        EXPECT_EQ(waits.seen[pass].members, 0) << "the set is not made anew";
        EXPECT_TRUE(waits.seen[pass].hasTimeout);
        EXPECT_EQ(waits.seen[pass].milliseconds, 0) << "nor is the time-out";
    }
    EXPECT_FALSE(receiver.receive(0).received);
}

TEST(SendtoOverNonBlocking, sendsWhenTheSocketGetsWritableMeanwhile)
{
    const Peer sender;
    const Peer receiver;
    const Captured errors(2);
    const RecordedLog log;
    Waits waits({0, 1});
    EXPECT_EQ(sendHello(sender, receiver.address()), 5);
    EXPECT_EQ(errors.text(), timedOut(5, sender.descriptor()));
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST(SendtoOverNonBlocking, sendsAllOfItAgainAfterAPart)
{
    const Peer sender;
    std::vector<std::string> sent;
    const Replacement part(
        calls::sendto,
        [&](int, const void* data, size_t length, int, const sockaddr*, socklen_t) -> ssize_t {
            sent.emplace_back(static_cast<const char*>(data), length);
            return sent.size() == 1 ? 2 : 3;
        });
    const Captured errors(2);
    Waits waits({1});
    EXPECT_EQ(sendHello(sender, sender.address()), 5);
    EXPECT_EQ(sent, (std::vector<std::string>{"hello", "hello"}));
    EXPECT_EQ(waits.seen.size(), 2u);
    EXPECT_EQ(errors.text(), "");
}

TEST(SendtoOverNonBlocking, givesAndReportsWhatItWroteWhenThatIsNotTheLength)
{
    const Peer sender;
    const int fd = sender.descriptor();
    const auto partly = [](int, const void*, size_t, int, const sockaddr*, socklen_t) -> ssize_t {
        return 3;
    };
    const Replacement part(calls::sendto, partly);
    const Captured errors(2);
    const RecordedLog log;
    {
        Waits waits({1});
        EXPECT_EQ(sendHello(sender, sender.address()), 6) << "twice 3, which is not 5";
    }
    EXPECT_EQ(errors.text(), notWritten(fd, 6, 5));
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{LOG_ERR, notWritten(fd, 6, 5)}}));
    Waits waits({1, 0});
    EXPECT_EQ(sendHello(sender, sender.address()), 3);
    EXPECT_EQ(waits.seen.size(), 7u);
    EXPECT_EQ(log.lines().back(), (LogLine{LOG_ERR, notWritten(fd, 3, 5)}));
}

TEST(SendtoOverNonBlocking, givesAResultOfNothingAsItIs)
{
    const Peer sender;
    const Captured errors(2);
    const RecordedLog log;
    for (const ssize_t result : {0, -1, -7}) {
        const Replacement send(calls::sendto, [&](int, const void*, size_t, int, const sockaddr*,
                                                  socklen_t) { return result; });
        EXPECT_EQ(sendHello(sender, sender.address()), result);
    }
    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(log.lines().empty());
}

TEST(SendtoOverNonBlocking, endsAtOnceAndSilentlyWhenTheWaitFails)
{
    const Peer sender;
    const Captured errors(2);
    const RecordedLog log;
    Waits waits({-1});
    EXPECT_EQ(sendHello(sender, sender.address()), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(waits.seen.size(), 1u);
    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(log.lines().empty());
}

TEST(SendtoOverNonBlocking, ofNothingNeitherWaitsNorSends)
{
    const Peer sender;
    int sends = 0;
    const Replacement send(calls::sendto,
                           [&](int, const void*, size_t, int, const sockaddr*,
                               socklen_t) -> ssize_t { return ++sends; });
    Waits waits({0});
    EXPECT_EQ(sendto_overNonBlocking(sender.descriptor(), "", 0, 0, nullptr, 0), 0);
    EXPECT_EQ(sends, 0);
    EXPECT_TRUE(waits.seen.empty());
}

TEST(SendtoOverNonBlocking, handsOnFlagsAndAddress)
{
    const Peer sender;
    const Address to("127.0.0.1", 4711);
    int flags = 0;
    const sockaddr* address = nullptr;
    socklen_t size = 0;
    const Replacement send(calls::sendto, [&](int, const void*, size_t length, int flag,
                                              const sockaddr* at, socklen_t atSize) {
        flags = flag;
        address = at;
        size = atSize;
        return static_cast<ssize_t>(length);
    });
    EXPECT_EQ(sendto_overNonBlocking(sender.descriptor(), "hello", 5, MSG_DONTROUTE, to.get(), 12),
              5);
    EXPECT_EQ(flags, MSG_DONTROUTE);
    EXPECT_EQ(address, to.get());
    EXPECT_EQ(size, 12u);
}

TEST(RecvfromOverNonBlocking, waitsWithoutLimitAndReceives)
{
    const Peer receiver;
    const Peer sender;
    sender.send("hello", receiver.address());
    Waits waits({1});
    char buffer[16] = "";
    Address from;
    EXPECT_EQ(recvfrom_overNonBlocking(receiver.descriptor(), buffer, sizeof buffer, MSG_PEEK,
                                       from.get(), from.length()),
              5);
    EXPECT_EQ(recvfrom_overNonBlocking(receiver.descriptor(), buffer, 2, MSG_TRUNC, from.get(),
                                       from.length()),
              5)
        << "flags are handed on";
    EXPECT_STREQ(buffer, "hello");
    EXPECT_EQ(from.port(), sender.port());
    ASSERT_EQ(waits.seen.size(), 2u);
    EXPECT_EQ(waits.seen[0].limit, receiver.descriptor() + 1);
    EXPECT_TRUE(waits.seen[0].hasRead);
    EXPECT_FALSE(waits.seen[0].hasWrite);
    EXPECT_FALSE(waits.seen[0].hasExceptional);
    EXPECT_EQ(waits.seen[0].members, 1);
    EXPECT_FALSE(waits.seen[0].hasTimeout);
}

TEST(RecvfromOverNonBlocking, handsOnAllThatItIsGiven)
{
    const Peer receiver;
    char buffer[4];
    Address from;
    const int anyFlags = MSG_WAITALL | MSG_TRUNC;
    const Replacement receive(calls::recvfrom,
                              [&](int fd, void* data, size_t length, int flags, sockaddr* address,
                                  socklen_t* size) -> ssize_t {
                                  EXPECT_EQ(fd, receiver.descriptor());
                                  EXPECT_EQ(data, buffer);
                                  EXPECT_EQ(length, 4u);
                                  EXPECT_EQ(flags, anyFlags);
                                  EXPECT_EQ(address, from.get());
                                  EXPECT_EQ(size, from.length());
                                  return 3;
                              });
    const Waits waits({1});
    EXPECT_EQ(recvfrom_overNonBlocking(receiver.descriptor(), buffer, 4, anyFlags, from.get(),
                                       from.length()),
              3);
}

TEST(RecvfromOverNonBlocking, endsSilentlyWhenTheWaitFails)
{
    const Peer receiver;
    const Captured errors(2);
    const RecordedLog log;
    int receives = 0;
    const Replacement receive(
        calls::recvfrom,
        [&](int, void*, size_t, int, sockaddr*, socklen_t*) -> ssize_t { return ++receives; });
    Waits waits({-1});
    char buffer[4];
    EXPECT_EQ(recvfrom_overNonBlocking(receiver.descriptor(), buffer, 4, 0, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(receives, 0);
    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(log.lines().empty());
}

TEST(NonBlockingIo, refusesDescriptorsThatSelectCannotHold)
{
    const Peer peer;
    const Address to = peer.address();
    char buffer[4] = "";
    Waits waits({1});
    for (const int fd : {-1, -1000000, int{FD_SETSIZE}, 1 << 30}) {
        errno = 0;
        EXPECT_EQ(sendto_overNonBlocking(fd, buffer, 4, 0, to.get(), to.size()), -1) << fd;
        EXPECT_EQ(errno, EBADF);
        errno = 0;
        EXPECT_EQ(recvfrom_overNonBlocking(fd, buffer, 4, 0, nullptr, nullptr), -1) << fd;
        EXPECT_EQ(errno, EBADF);
    }
    EXPECT_TRUE(waits.seen.empty());
}

TEST(RecvfromOverNonBlocking, refusesToReceiveIntoNothingBeforeItWaits)
{
    const Peer receiver;
    Waits waits({-1});
    for (const unsigned int length : {1u, 4u, 4294967295u}) {
        EXPECT_EQ(
            recvfrom_overNonBlocking(receiver.descriptor(), nullptr, length, 0, nullptr, nullptr),
            -1);
        EXPECT_EQ(errno, EFAULT);
    }
    EXPECT_TRUE(waits.seen.empty());
}

TEST(SendtoOverNonBlocking, takesTheLargestLengthThatAResultCanSay)
{
    const Peer sender;
    const Waits waits({1});
    const Replacement send(calls::sendto,
                           [](int, const void*, size_t length, int, const sockaddr*,
                              socklen_t) -> ssize_t { return static_cast<ssize_t>(length); });
    EXPECT_EQ(sendto_overNonBlocking(sender.descriptor(), "", 2147483647u, 0, nullptr, 0),
              2147483647);
    EXPECT_EQ(sendto_overNonBlocking(sender.descriptor(), "", 2147483648u, 0, nullptr, 0), -1);
    EXPECT_EQ(errno, EMSGSIZE);
}

TEST(NonBlockingIo, takesTheHighestDescriptorOfASet)
{
    Waits waits({1});
    const Replacement send(
        calls::sendto,
        [](int fd, const void*, size_t, int, const sockaddr*, socklen_t) -> ssize_t { return fd; });
    const int highest = FD_SETSIZE - 1;
    EXPECT_EQ(
        sendto_overNonBlocking(highest, "x", static_cast<unsigned int>(highest), 0, nullptr, 0),
        highest);
    ASSERT_EQ(waits.seen.size(), 1u);
    EXPECT_EQ(waits.seen[0].limit, FD_SETSIZE);
}
