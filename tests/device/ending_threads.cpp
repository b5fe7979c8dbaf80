// Lets threads of the layer end on the device, in one of the ways that its first argument names.
// Some of them take the device along: anywhere else the program does nothing.
#include <gpal/Threader.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <utility>

#include <gpal/GPALException.h>
#include <gpal/Wait.h>

#include "booted.h"

namespace phone
{

class DisplayException : public GPALException
{
};

template <typename Tone>
class Ringer : public Threadable
{
public:
    explicit Ringer(std::function<void()> work) : m_work(std::move(work)) {}
    void run() override { m_work(); }

private:
    std::function<void()> m_work;
};

class Bell
{
};

} // namespace phone

namespace
{

/// Runs a thread to its end, which it is asked for when \p destroyed.
void runThread(const std::function<void()>& work, bool destroyed = false)
{
    phone::Ringer<phone::Bell> body(work);
    Threader threader;
    unsigned long id = 0;
    threader.spawn(&id, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    if (destroyed) {
        threader.destroy(id);
    }
    threader.waitForThreadCompletion(id);
}

int endThreads(const std::string& ending)
{
    runThread([] {});
    runThread([] { pthread_exit(nullptr); });
    runThread([] { Wait().wait(-1); }, true);
    if (ending == "standard") {
        runThread([] { throw std::runtime_error("no tone"); });
    } else if (ending == "layer") {
        runThread([] { throw phone::DisplayException(); });
    } else if (ending == "int") {
        runThread([] { throw 42; });
    } else if (ending != "peaceful") {
        std::fprintf(stderr, "no such ending: %s\n", ending.c_str());
        return 2;
    }
    std::puts("the threads have ended");
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string whyNot = devicetest::whyNotTheDevice();
    if (!whyNot.empty()) {
        std::fprintf(stderr, "not the device: %s\n", whyNot.c_str());
        return 1;
    }
    return endThreads(argc == 2 ? argv[1] : "");
}
