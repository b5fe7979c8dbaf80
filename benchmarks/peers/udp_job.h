/// \file
/// A datagram there and back on the loopback, whoever does it.
#ifndef GPAL_BENCHMARKS_PEERS_UDP_JOB_H
#define GPAL_BENCHMARKS_PEERS_UDP_JOB_H

#include <benchmark/benchmark.h>

#include "../support.h"

namespace jobs
{

constexpr int FRAME = 160; // 20 ms of speech

/// A Socket is bound to a port of its own. Its write gets data, length and an address; its read
/// leaves the sender's address there; both return the number of bytes.
template <typename Socket>
void roundTrip(benchmark::State& state)
{
    const auto caller = support::opaque<Socket>();
    const auto called = support::opaque<Socket>();
    const auto answering = called->address();
    auto sender = caller->address();
    char frame[FRAME] = "";
    for (auto _ : state) {
        caller->write(frame, FRAME, answering);
        called->read(frame, FRAME, sender);
        called->write(frame, FRAME, sender);
        if (caller->read(frame, FRAME, sender) != FRAME) {
            state.SkipWithError("a datagram was lost");
        }
    }
}

} // namespace jobs

#endif
