/// \file
/// Arguments that make no sense: none of them costs more than its own call.
#include <gpal/NetworkPort.h>
#include <gpal/NetworkUtils.h>
#include <gpal/packet_dump.h>
#include <gpal/UDPSocket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <netinet/in.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "peers.h"
#include "support/network_calls.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using peers::Address;
using peers::Peer;
using support::Captured;
using support::RecordedLog;

namespace
{

constexpr int ANY = -4711; ///< a reason that is the kernel's own business

/// One call, and how it must end.
struct Call {
    const char* what;
    std::function<int()> function;
    int result;
    int reason; ///< in errno, of a result of -1
};

void expectAll(const std::vector<Call>& calls)
{
    for (const Call& call : calls) {
        errno = 0;
        EXPECT_EQ(call.function(), call.result) << call.what;
        if (call.reason == ANY) {
            EXPECT_NE(errno, 0) << call.what;
        } else if (call.result == -1) {
            EXPECT_EQ(errno, call.reason) << call.what;
        }
    }
}

class OddArguments : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_GE(m_socket.open(m_port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1"), 0);
    }
    /// Puts a datagram in the socket, so that a read that looks at it does not wait.
    void feed() const { m_peer.send("x", {"127.0.0.1", m_port}); }

    Captured m_errors{2};
    RecordedLog m_log;
    Peer m_peer;
    unsigned short m_port = peers::freePort();
    UDPSocket m_socket;
    unsigned int m_ip = 4711;
    unsigned short m_senderPort = 4712;
    char m_data[64] = "hello";
};

} // namespace

TEST_F(OddArguments, ofSendingFail)
{
    const int fd = m_socket.socketHandle();
    const int closedFd = fcntl(fd, F_DUPFD_CLOEXEC, 500);
    close(closedFd);
    const Address to = m_peer.address();
    const auto send = [&](int descriptor, const void* data, unsigned int length, const sockaddr* at,
                          unsigned int size) {
        return [=] { return sendto_overNonBlocking(descriptor, data, length, 0, at, size); };
    };
    expectAll({
        {"negative descriptor", send(-1, m_data, 5, to.get(), to.size()), -1, EBADF},
        {"lowest descriptor", send(INT_MIN, m_data, 5, to.get(), to.size()), -1, EBADF},
        {"too high a descriptor", send(FD_SETSIZE, m_data, 5, to.get(), to.size()), -1, EBADF},
        {"highest descriptor", send(INT_MAX, m_data, 5, to.get(), to.size()), -1, EBADF},
        {"closed descriptor", send(closedFd, m_data, 5, to.get(), to.size()), -1, EBADF},
        {"no data", send(fd, nullptr, 5, to.get(), to.size()), -1, EFAULT},
        {"no data and no length", send(fd, nullptr, 0, nullptr, 0), 0, 0},
        {"no address", send(fd, m_data, 5, nullptr, 0), -1, EDESTADDRREQ},
        {"no address, of a length", send(fd, m_data, 5, nullptr, 16), -1, ANY},
        {"short address", send(fd, m_data, 5, to.get(), 1), -1, EINVAL},
        {"endless address", send(fd, m_data, 5, to.get(), UINT_MAX), -1, EINVAL},
        {"a length that is no int", send(fd, m_data, 0x80000000u, to.get(), to.size()), -1,
         EMSGSIZE},
        {"largest length", send(fd, m_data, UINT_MAX, to.get(), to.size()), -1, EMSGSIZE},
    });
    EXPECT_FALSE(m_peer.receive(0).received);
}

TEST_F(OddArguments, ofReceivingFail)
{
    const int fd = m_socket.socketHandle();
    Address from;
    unsigned int endless = UINT_MAX;
    const auto receive = [&](int descriptor, void* data, unsigned int length, sockaddr* at,
                             unsigned int* size) {
        return [=] { return recvfrom_overNonBlocking(descriptor, data, length, 0, at, size); };
    };
    expectAll({
        {"negative descriptor", receive(-1, m_data, 5, nullptr, nullptr), -1, EBADF},
        {"too high a descriptor", receive(FD_SETSIZE, m_data, 5, nullptr, nullptr), -1, EBADF},
        {"highest descriptor", receive(INT_MAX, m_data, 5, nullptr, nullptr), -1, EBADF},
        {"no buffer: at once", receive(fd, nullptr, 5, nullptr, nullptr), -1, EFAULT},
        {"no buffer, of the largest length", receive(fd, nullptr, UINT_MAX, nullptr, nullptr), -1,
         EFAULT},
        {"no length of the address", receive(fd, m_data, 5, from.get(), nullptr), -1, EFAULT},
    });
    feed();
    EXPECT_EQ(receive(fd, m_data, 5, nullptr, nullptr)(), 1) << "the datagram is not lost";
    feed();
    EXPECT_EQ(receive(fd, nullptr, 0, nullptr, nullptr)(), 0);
    feed();
    EXPECT_EQ(receive(fd, m_data, 5, nullptr, from.length())(), 1);
    feed();
    EXPECT_EQ(receive(fd, m_data, 5, from.get(), &endless)(), -1);
}

TEST_F(OddArguments, ofASocketsReadsAndWritesFail)
{
    Address to = m_peer.address();
    Address from;
    unsigned int nothing = 0;
    expectAll({
        {"read into nothing", [&] { return m_socket.read(nullptr, 5u, nullptr, nullptr); }, -1,
         EFAULT},
        {"read without a length of the address",
         [&] { return m_socket.read(m_data, 5u, from.get(), nullptr); }, -1, EFAULT},
        {"read by number into nothing",
         [&] { return m_socket.read(nullptr, 5, m_ip, m_senderPort); }, -1, EFAULT},
        {"read of a negative length", [&] { return m_socket.read(m_data, -1, m_ip, m_senderPort); },
         -1, EINVAL},
        {"read of the lowest length",
         [&] { return m_socket.read(m_data, INT_MIN, m_ip, m_senderPort); }, -1, EINVAL},
        {"write of nothing", [&] { return m_socket.write(nullptr, 5, htonl(INADDR_LOOPBACK), 9); },
         -1, EFAULT},
        {"write of a negative length", [&] { return m_socket.write(m_data, -1, m_ip, 9); }, -1,
         EINVAL},
        {"write of the lowest length", [&] { return m_socket.write(m_data, INT_MIN, m_ip, 9); }, -1,
         EINVAL},
        {"write of nothing to an address",
         [&] { return m_socket.write(nullptr, 5u, to.get(), to.length()); }, -1, EFAULT},
        {"write to no address", [&] { return m_socket.write(m_data, 5u, nullptr, &nothing); }, -1,
         EDESTADDRREQ},
        {"write without a length of the address",
         [&] { return m_socket.write(m_data, 5u, to.get(), nullptr); }, -1, EFAULT},
        {"write of the largest length",
         [&] { return m_socket.write(m_data, UINT_MAX, to.get(), to.length()); }, -1, EMSGSIZE},
        {"write of the largest length to a text",
         [&] { return m_socket.write(m_data, UINT_MAX, "127.0.0.1", 9u); }, -1, EMSGSIZE},
        {"write of nothing to a text", [&] { return m_socket.write(nullptr, 5u, "127.0.0.1", 9u); },
         -1, EFAULT},
        {"write of no bytes", [&] { return m_socket.write(nullptr, 0, m_ip, 9); }, 0, 0},
    });
    EXPECT_EQ(m_ip, 4711u);
    EXPECT_EQ(m_senderPort, 4712);
    EXPECT_EQ(m_socket.write(m_data, 5u, "127.0.0.1", m_peer.port() + 65536u), 5)
        << "16 bits of a port count";
    EXPECT_EQ(m_peer.receive().content, "hello");
    EXPECT_EQ(m_socket.write(m_data, 5u, std::string("127.0.0.1\0x", 11), m_peer.port()), 5)
        << "a text ends at its first null";
}

TEST_F(OddArguments, ofAnOpenLeaveTheSocketOpenOrClosed)
{
    for (const int family : {-1, 1, 77, INT_MAX, INT_MIN, AF_UNIX, AF_PACKET}) {
        errno = 0;
        EXPECT_EQ(m_socket.open(0, static_cast<AddressFamily>(family), "", ""), -1) << family;
        EXPECT_NE(errno, 0) << family;
        EXPECT_EQ(m_socket.family(), 0);
        EXPECT_EQ(m_socket.setPriority(255), -1);
    }
    for (const unsigned int port : {65536u, 70000u, 0x7FFFFFFFu, 0x80000000u, UINT_MAX}) {
        // Whether such a port is refused or cut to 16 bits is the resolver's to say.
        const int handle = m_socket.open(port, ADDRESS_FAMILY_IPV4, "", "127.0.0.1");
        EXPECT_EQ(handle, m_socket.socketHandle());
        EXPECT_EQ(m_socket.family(), handle < 0 ? 0 : AF_INET);
        EXPECT_EQ(m_socket.localPort(), handle < 0 ? 0 : htons(peers::boundAddress(handle).port()));
    }
    for (const std::string& address :
         {std::string(100000, 'x'), std::string(300, '.'), std::string("%s%n"), std::string(" ")}) {
        errno = 0;
        EXPECT_EQ(m_socket.open(0, ADDRESS_FAMILY_IPV4, address, address), -1);
        EXPECT_NE(errno, 0);
    }
}

TEST_F(OddArguments, ofAddressesAndUrlsAreNone)
{
    std::string ip = "before";
    unsigned int port = 7;
    unsigned int family = 7;
    EXPECT_FALSE(NetworkUtils::sockaddrToString(nullptr, ip, port, family));
    EXPECT_EQ(ip, "");
    EXPECT_EQ(port, 0u);
    EXPECT_EQ(family, 0u);
    sockaddr highest{};
    highest.sa_family = 65535;
    EXPECT_FALSE(NetworkUtils::sockaddrToString(&highest, ip, port, family));
    EXPECT_EQ(family, 65535u);
    for (const std::string& text : {std::string(), std::string(1, '\0'), std::string(100000, ':'),
                                    std::string("%n%s"), std::string(100000, '[')}) {
        const auto isValid = [&] {
            const Captured quiet(1);
            return NetworkUtils::validateIPv6Address(text);
        };
        EXPECT_FALSE(isValid());
        EXPECT_EQ(NetworkUtils::stringIPAddressToInt(text), 0u);
        for (const auto cut : {NetworkUtils::getURLPort, NetworkUtils::getURLPath}) {
            std::string url = text;
            cut(url);
            EXPECT_LE(url.size(), std::max<std::size_t>(text.size(), 2));
        }
    }
}

TEST_F(OddArguments, ofAChecksumCountAsNoBytes)
{
    unsigned char byte = 1;
    expectAll({
        {"no data", [] { return int{checksum_1(nullptr, 20)}; }, 0xFFFF, 0},
        {"no data, largest", [] { return int{checksum_1(nullptr, INT_MAX)}; }, 0xFFFF, 0},
        {"no length", [&] { return int{checksum_1(&byte, 0)}; }, 0xFFFF, 0},
        {"negative", [&] { return int{checksum_1(&byte, -1)}; }, 0xFFFF, 0},
        {"lowest", [&] { return int{checksum_1(&byte, INT_MIN)}; }, 0xFFFF, 0},
    });
}

TEST_F(OddArguments, ofACaptureFail)
{
    const support::TemporaryDirectory directory;
    std::string name = directory.path("capture");
    auto type = PACKET_DUMP_OTHER;
    {
        packet_dump writer(name.data());
        EXPECT_EQ(writer.write(nullptr, 5, PACKET_DUMP_UDP), -1);
        EXPECT_EQ(writer.write(nullptr, 0, PACKET_DUMP_UDP), -1);
        EXPECT_EQ(writer.write(m_data, -1, PACKET_DUMP_UDP), -1);
        EXPECT_EQ(writer.write(m_data, INT_MIN, PACKET_DUMP_UDP), -1);
        EXPECT_FALSE(support::exists(name)) << "nothing is decided by a call that makes no sense";
        EXPECT_EQ(writer.write(m_data, 5, PACKET_DUMP_UDP), 5);
        EXPECT_EQ(writer.write(m_data, 0, static_cast<t_packet_dump_type>(INT_MIN)), 0);
        EXPECT_EQ(writer.write(m_data, 1, static_cast<t_packet_dump_type>(INT_MAX)), 1);
    }
    for (const int size : {0, -1, INT_MIN, 4}) {
        packet_dump reader(name.data());
        EXPECT_EQ(reader.read(nullptr, 5, &type), -1);
        EXPECT_EQ(reader.read(m_data, 5, nullptr), -1);
        EXPECT_EQ(reader.read(m_data, size, &type), -1) << "too small for the record";
        EXPECT_EQ(reader.read(m_data, 5, &type), -1) << "which ended the reading";
    }
    packet_dump reader(name.data());
    EXPECT_EQ(reader.read(m_data, INT_MAX, &type), 5);
    packet_dump nameless(nullptr);
    EXPECT_EQ(nameless.read(m_data, 5, &type), -1);
    EXPECT_EQ(nameless.write(m_data, 5, PACKET_DUMP_UDP), -1);
}

TEST_F(OddArguments, ofTheLargestLengthGiveARecordThatSaysSo)
{
    // What follows the record's start goes nowhere: the pipe's reader leaves.
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    const support::TemporaryDirectory directory;
    std::string name = directory.path("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    unsigned char start[24 + 16] = {};
    std::thread reader([&] {
        const int pipe = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(::read(pipe, start, sizeof start), static_cast<ssize_t>(sizeof start));
        close(pipe);
    });
    std::string payload(1 << 20, 'x'); // more than the pipe takes
    packet_dump dump(name.data());
    EXPECT_EQ(dump.write(payload.data(), INT_MAX, PACKET_DUMP_TCP_FORWARD), INT_MAX);
    reader.join();
    const std::vector<int> length(start + 24 + 8, start + 24 + 12);
    EXPECT_EQ(length, (std::vector<int>{0x35, 0, 0, 0x80})) << "and 54 bytes of headers";
    std::signal(SIGPIPE, before);
}
