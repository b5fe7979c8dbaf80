#include <cstdio>

#include <gpal/gpal.h>

/// Takes longer than anyone wants to wait.
class SlowLookup : public RunnerIfc
{
public:
    void run() override { GPALSleep().secSleep(60); }
};

int main()
{
    TimedThreadFactory factory;
    SlowLookup lookup;
    TimedThreadIfc* job = factory.getNewTimedThread(&lookup);
    if (job->runForAMaximumOf(100) == 0) {
        std::puts("No answer within 100 ms.");
    }
    // The work goes on until it ends or, as here, is cancelled: the sleep is a cancellation point.
    factory.deleteTimedThread(job);
    std::puts("The job has been cancelled.");
}
