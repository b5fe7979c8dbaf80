// What clients use of the C++ library, which is made for the device together with its C library.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "device/booted.h"

namespace
{

/// One thread waits, without a limit, for what another says.
template <typename Condition>
class Conversation
{
public:
    void expectToBeHeard()
    {
        std::thread listener([this] { listen(); });
        while (!m_listening) {
            devicetest::sleepFor(10);
        }
        devicetest::sleepFor(100);
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            EXPECT_FALSE(m_heard) << "it has not waited";
            m_said = true;
        }
        m_condition.notify_all();
        listener.join();
        EXPECT_TRUE(m_heard);
    }

private:
    void listen()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_listening = true;
        while (!m_said) {
            m_condition.wait(lock);
        }
        m_heard = true;
    }

    std::mutex m_mutex;
    Condition m_condition;
    bool m_said = false;
    bool m_heard = false;
    std::atomic<bool> m_listening{false};
};

using CxxLibrary = devicetest::OnTheDevice;

} // namespace

TEST_F(CxxLibrary, waitsForAConditionWithoutALimit)
{
    Conversation<std::condition_variable>().expectToBeHeard();
}

TEST_F(CxxLibrary, waitsForAConditionWithALockOfAnyKind)
{
    Conversation<std::condition_variable_any>().expectToBeHeard();
}

TEST_F(CxxLibrary, bringsTheResultsOfThreads)
{
    std::vector<int> numbers(1000);
    std::iota(numbers.begin(), numbers.end(), 1);
    std::future<int> sum = std::async(std::launch::async, [&] {
        devicetest::sleepFor(100);
        return std::accumulate(numbers.begin(), numbers.end(), 0);
    });
    EXPECT_EQ(sum.get(), 500500);

    std::promise<int> promise;
    std::thread failing([&] {
        try {
            throw std::runtime_error("no tone");
        } catch (...) {
            promise.set_exception(std::current_exception());
        }
    });
    EXPECT_THROW(promise.get_future().get(), std::runtime_error);
    failing.join();
}

TEST_F(CxxLibrary, doesOnceWhatManyThreadsAskFor)
{
    std::once_flag once;
    std::atomic<int> times{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] { std::call_once(once, [&] { ++times; }); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(times, 1);
}

TEST_F(CxxLibrary, skipsWhatAStreamIsToldToIgnore)
{
    std::istringstream text("#a long line\nb");
    text.ignore();
    EXPECT_EQ(text.get(), 'a');
    text.ignore(3);
    EXPECT_EQ(text.get(), 'n');
    text.ignore(100, '\n');
    EXPECT_EQ(text.get(), 'b');
}
