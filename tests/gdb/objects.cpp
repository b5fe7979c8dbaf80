// Objects of the layer's classes, for the debugger to print.
#include <arpa/inet.h>
#include <cstring>
#include <gpal/gpal.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

class Ticker : public timeAble
{
public:
    int timerExpired(osTimerIfc* /*timer*/) override { return 0; }
};

/// A body that a client derives has fields of its own to show.
class Listener : public Threadable
{
public:
    void run() override {}

    int m_heard = 3;
};

class Work : public RunnerIfc
{
public:
    void run() override {}
};

__attribute__((noinline)) void stopHere()
{
    asm volatile("");
}

/// Opens the socket on a port that is free.
void openOn(UDPSocket& socket, unsigned int port)
{
    while (socket.open(port, ADDRESS_FAMILY_IPV4, "objects", "127.0.0.1") == -1) {
        ++port;
    }
}

} // namespace

int main()
{
    osTimerThread monitor;
    monitor.start();
    Ticker ticker;
    osTimer armed(&ticker, 60000);
    osTimer idle(&ticker, 700);
    osTimer fresh;
    armed.start();
    osPOSIXTimer posixTimer(&ticker, 250, nullptr);

    Semaphore unbounded(7, -1, false);
    Semaphore nested(1, 1, true);
    nested.take(-1);
    nested.take(-1);
    Wait quiet;
    Wait rung;
    rung.signal();
    GPALMutex locked(GPAL_MUTEX_LOCKED);
    GPALMutex open(GPAL_MUTEX_UNLOCKED);
    Semaphore lock(1, 1, false);
    CriticalSection section(lock);

    Listener listener;
    Work work;
    TimedThreadFactory factory;
    auto* timed = dynamic_cast<TimedThread*>(factory.getNewTimedThread(&work));

    Process process;
    GPALProcessException exception("no such program");

    UDPSocket closed;
    UDPSocket socket;
    openOn(socket, 47000);
    sockaddr_storage peer{};
    auto& ipv4 = reinterpret_cast<sockaddr_in&>(peer);
    ipv4.sin_family = AF_INET;
    ipv4.sin_port = htons(5060);
    inet_pton(AF_INET, "192.0.2.7", &ipv4.sin_addr);
    auto* plain = reinterpret_cast<sockaddr*>(&peer);
    sockaddr_in6 ipv6{};
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_port = htons(5061);
    inet_pton(AF_INET6, "2001:db8::7", &ipv6.sin6_addr);
    sockaddr_storage none{};

    stopHere();
    // All that was shown is used here.
    return timed == nullptr || plain == nullptr || none.ss_family != 0 ? 1 : 0;
}
