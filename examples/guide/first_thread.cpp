#include <cstdio>

#include <gpal/gpal.h>

class Greeter : public Threadable
{
public:
    void run() override { std::puts("Hello from a thread."); }
    int getThreadPriorityForPlatform() override { return GPAL_THREAD_PRIORITY_LOW; }
};

int main()
{
    Greeter greeter; // must outlive its thread
    unsigned long thread = 0;
    Threader().spawn(&thread, &greeter, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    greeter.waitForThreadCompletion();
    std::puts("It has ended.");
}
