/// \file
/// UDP over the loopback. "layer" is the layer, "hand" select with sendto or recvfrom (hand_udp.h).
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <cstdlib>

#include <gpal/UDPSocket.h>

#include "hand_udp.h"
#include "support.h"

using support::opaque;

namespace
{

constexpr int FRAME = 160; // 20 ms of speech
constexpr int BURST = 16;

/// A socket of the layer on the loopback.
class LayerSocket
{
public:
    LayerSocket()
    {
        const unsigned short wanted = hand::UdpSocket().port();
        if (m_socket.open(wanted, ADDRESS_FAMILY_IPV4, "", "127.0.0.1") < 0) {
            std::abort();
        }
    }
    unsigned short port() const { return ntohs(static_cast<unsigned short>(m_socket.localPort())); }
    int write(char* data, int length, unsigned int ip, unsigned short port)
    {
        return m_socket.write(data, length, ip, port);
    }
    int read(char* data, int length, unsigned int& ip, unsigned short& port)
    {
        return m_socket.read(data, length, ip, port);
    }

private:
    UDPSocket m_socket;
};

void check(benchmark::State& state, int result)
{
    if (result != FRAME) {
        state.SkipWithError("a datagram was lost");
    }
}

template <typename Socket>
void roundTrip(benchmark::State& state)
{
    const auto caller = opaque<Socket>();
    const auto called = opaque<Socket>();
    const unsigned short port = called->port();
    char frame[FRAME] = "";
    unsigned int ip = 0;
    unsigned short from = 0;
    for (auto _ : state) {
        caller->write(frame, FRAME, htonl(INADDR_LOOPBACK), port);
        called->read(frame, FRAME, ip, from);
        called->write(frame, FRAME, ip, from);
        check(state, caller->read(frame, FRAME, ip, from));
    }
}
BENCHMARK(roundTrip<LayerSocket>)->Name("udpRoundTrip/layer");
BENCHMARK(roundTrip<hand::UdpSocket>)->Name("udpRoundTrip/hand");

/// One way, some datagrams at a time.
template <typename Socket>
void stream(benchmark::State& state)
{
    const auto sender = opaque<Socket>();
    const auto receiver = opaque<Socket>();
    const unsigned short port = receiver->port();
    char frame[FRAME] = "";
    unsigned int ip = 0;
    unsigned short from = 0;
    for (auto _ : state) {
        for (int i = 0; i < BURST; ++i) {
            check(state, sender->write(frame, FRAME, htonl(INADDR_LOOPBACK), port));
        }
        for (int i = 0; i < BURST; ++i) {
            receiver->read(frame, FRAME, ip, from);
        }
    }
}
BENCHMARK(stream<LayerSocket>)->Name("udpStream/layer");
BENCHMARK(stream<hand::UdpSocket>)->Name("udpStream/hand");

} // namespace
