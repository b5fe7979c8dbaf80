/// \file
/// What the storms share: how long they last, their dice, and what has to be the same afterwards.
#ifndef GPAL_TESTS_STORMS_STORM_H
#define GPAL_TESTS_STORMS_STORM_H

#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "stress/layer.h"

namespace storms
{

/// Whether the storms are to last as long as `tools/storms` wants them to.
bool isLong();

inline int times(int shortly, int longly)
{
    return isLong() ? longly : shortly;
}

/// How long a storm that goes by the clock lasts.
std::chrono::steady_clock::time_point endOfStorm(std::chrono::milliseconds shortly);

class Dice
{
public:
    explicit Dice(unsigned int seed) : m_engine(seed * 2654435761U + 1) {}
    int below(int limit) { return static_cast<int>(m_engine() % static_cast<unsigned int>(limit)); }

private:
    std::minstd_rand m_engine;
};

/// Does \p work on each of some threads that the layer knows nothing about, which get their number;
/// returns when all have ended.
template <typename Work>
void onThreads(int count, Work work);

/// A moment of up to \p limit microseconds.
void waitUpTo(Dice& dice, int limit);

/// A storm: what the process has is the same afterwards.
class Storm : public stress::LayerTest
{
protected:
    void SetUp() override;
    void TearDown() override;
    /// For the figures of a storm.
    void say(const std::string& figures) const;

private:
    long m_blocks = 0;
    int m_descriptors = 0;
    int m_threads = 0;
    std::chrono::steady_clock::time_point m_begin;
};

template <typename Work>
void onThreads(int count, Work work)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&work, number] { work(number); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace storms

#endif
