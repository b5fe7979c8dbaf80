// A client that asks neither CMake nor pkg-config how to be linked: a thread, an event and the
// version.
#include <gpal/gpal.h>

#include <cstdio>

namespace
{

class Ringer : public Threadable
{
public:
    void run() override { m_rung.signal(); }

    Wait m_rung;
};

} // namespace

int main()
{
    ThreaderFactory factory;
    ThreaderIfc* threader = factory.createNewThreader();
    Ringer ringer;
    unsigned long thread = 0;
    const bool worked = threader->spawn(&thread, &ringer, "", GPAL_THREAD_PRIORITY_NORMAL, 0) &&
                        ringer.m_rung.wait(1000) == 1 &&
                        threader->waitForThreadCompletion(thread) == 0;
    delete threader;
    std::printf("gpal %s\n", GPAL_VERSION_STRING);
    return worked ? 0 : 1;
}
