/// \file
/// Threads that are cancelled while the host's name is looked up, and those that look it up later.
#include <gpal/NetworkUtils.h>

#include <atomic>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <gpal/UDPSocket.h>

#include "support/network_calls.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"
#include "support/temporary_mounts.h"
#include "support/two_hosts.h"

using support::PlainThread;
using support::Replacement;
using support::ShownInPlace;

namespace calls = support::calls;

namespace
{

/// The only name server there is, which knows no name, and says so once it may.
class NameServer
{
public:
    NameServer() = default;
    NameServer(const NameServer&) = delete;
    NameServer& operator=(const NameServer&) = delete;
    ~NameServer() { m_thread.cancel(); }

    std::atomic<bool> isAsked{false};
    std::atomic<bool> answers{false};

private:
    void serve()
    {
        char message[512] = "";
        unsigned int ip = 0;
        unsigned short port = 0;
        while (true) {
            const int size = m_socket.read(message, int{sizeof message}, ip, port);
            isAsked = true;
            support::eventually([this] { return answers.load(); });
            message[2] = '\x81'; // a response
            message[3] = '\x83'; // no such name
            m_socket.write(message, size, ip, port);
        }
    }

    UDPSocket m_socket{53, ""};
    PlainThread m_thread{[this] { serve(); }};
};

} // namespace

TEST(CancelledLookUp, isFinishedFirst)
{
    bool isFinished = false;
    const Replacement lookUp(calls::gethostbyname, [&](const char*) -> hostent* {
        support::cancelOneself();
        isFinished = true;
        return nullptr;
    });
    EXPECT_TRUE(PlainThread([] { NetworkUtils::getIPAddr(); }).wasCancelledOnlyAtItsEnd());
    EXPECT_TRUE(isFinished);
}

TEST(CancelledLookUp, isNotBegunWhenTheThreadIsCancelledAlready)
{
    const Replacement lookUp(calls::gethostbyname, [](const char*) -> hostent* {
        ADD_FAILURE() << "looked up";
        return nullptr;
    });
    EXPECT_TRUE(PlainThread([] {
                    pthread_cancel(pthread_self());
                    NetworkUtils::getIPAddr();
                }).wasCancelled());
}

TEST(CancelledLookUp, leavesTheCLibrarysOwnLockToTheNext)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    if (unshare(CLONE_NEWNET | CLONE_NEWUTS) != 0 ||
        !support::runCommands("ip link set lo up; test -f /etc/resolv.conf -a -f /etc/hosts")) {
        GTEST_SKIP() << "no network of its own for the test";
    }
    const support::TemporaryDirectory directory;
    const ShownInPlace server(directory.file("resolv.conf", "nameserver 127.0.0.1\n"),
                              "/etc/resolv.conf");
    const ShownInPlace noHosts(directory.file("hosts", ""), "/etc/hosts");
    ASSERT_EQ(sethostname("nobody-knows-me", 15), 0);

    NameServer nameServer;
    PlainThread looking([] { NetworkUtils::getIPAddr(); });
    ASSERT_TRUE(support::eventually([&] { return nameServer.isAsked.load(); }));
    pthread_cancel(looking.id());
    nameServer.answers = true;
    EXPECT_TRUE(looking.wasCancelledOnlyAtItsEnd());

    std::string address = "none yet";
    EXPECT_FALSE(PlainThread([&] { address = NetworkUtils::getIPAddr(); }).wasCancelled());
    EXPECT_EQ(address, "");
}
