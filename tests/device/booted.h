/// \file
/// Whether a program runs on the device itself, which tests may do to what no other machine bears.
#ifndef GPAL_TESTS_DEVICE_BOOTED_H
#define GPAL_TESTS_DEVICE_BOOTED_H

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace devicetest
{

/// Why this machine's clock, console and life are none of a test's business; "" on the device.
///
/// device/boot puts a word of its own on the command line of the kernel that it boots, which no
/// program can change and no container or emulation of a processor hides.
inline std::string whyNotTheDevice()
{
    std::string first;
    std::getline(std::ifstream("/proc/1/comm"), first);
    if (first != "init") {
        return "process 1 is no init";
    }
    std::ifstream commandLine("/proc/cmdline");
    using Words = std::istream_iterator<std::string>;
    if (std::find(Words(commandLine), Words(), "gpal.device") == Words()) {
        return "the kernel's command line has no word \"gpal.device\"";
    }
    return "";
}

inline void sleepFor(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

/// Tests that run on the device only.
class OnTheDevice : public testing::Test
{
protected:
    void SetUp() override
    {
        const std::string whyNot = whyNotTheDevice();
        if (!whyNot.empty()) {
            GTEST_SKIP() << "not the device: " << whyNot;
        }
        prepare();
    }
    void TearDown() override
    {
        if (!IsSkipped()) {
            restore();
        }
    }

    /// What a test needs changed on the device, and how that is undone.
    virtual void prepare() {}
    virtual void restore() {}
};

} // namespace devicetest

#endif
