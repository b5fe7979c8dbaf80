// A client in which a thread is cancelled that has taken a lock.
#include <gpal/gpal.h>

#include <unistd.h>

namespace
{

Semaphore lock(1, 1, false);
Wait taken;

void* takeAndStay(void* /*nothing*/)
{
    lock.take(-1);
    taken.signal();
    for (;;) {
        sleep(1);
    }
}

} // namespace

int main()
{
    Threader threader;
    unsigned long thread = 0;
    threader.spawn(&thread, takeAndStay, nullptr, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    const bool worked = taken.wait(10000) == 1 && threader.destroy(thread) &&
                        threader.waitForThreadCompletion(thread) == 0;
    return worked && lock.take(1000) == Semaphore::AVAILABLE ? 0 : 1;
}
